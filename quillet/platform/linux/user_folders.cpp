#include "quillet/platform/user_folders.hpp"

#include <fstream>
#include <sstream>

#include "quillet/platform/home.hpp"

namespace kelvor {

std::vector<std::string> personalFolders(const std::string& home) {
    // xdg-user-dirs keeps its file in the configuration folder, ~/.config unless XDG_CONFIG_HOME
    // says otherwise (and only an absolute value counts).
    std::string config = environment("XDG_CONFIG_HOME");
    if (config.empty() || config.front() != '/') config = home + "/.config";
    std::ifstream file(config + "/user-dirs.dirs");
    std::ostringstream text;
    if (file) text << file.rdbuf();
    std::vector<std::string> folders = parseUserDirs(text.str(), home);
    folders.push_back(home + "/.local/share/Trash");
    return folders;
}

}  // namespace kelvor
