#include "quillet/platform/trash.hpp"

#include <sys/stat.h>

#include "quillet/platform/home.hpp"

namespace kelvor {

std::string homeTrashFolder() {
    std::string dataHome = environment("XDG_DATA_HOME");
    // The freedesktop.org rule: an unset or relative XDG_DATA_HOME means the default.
    if (dataHome.empty() || dataHome.front() != '/') dataHome = homeDir() + "/.local/share";
    return dataHome + "/Trash";
}

bool isMountPoint(const std::string& path) {
    if (path == "/") return true;
    struct stat self {}, parent {};
    if (::lstat(path.c_str(), &self) != 0 || !S_ISDIR(self.st_mode)) return false;
    if (::stat((path + "/..").c_str(), &parent) != 0) return false;
    return self.st_dev != parent.st_dev || self.st_ino == parent.st_ino;
}

}  // namespace kelvor
