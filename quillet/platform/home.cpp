#include "quillet/platform/home.hpp"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

namespace kelvor {

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value ? std::string(value) : std::string();
}

std::string homeDir() {
    std::string home = environment("HOME");
    if (!home.empty()) return home;
    if (const passwd* entry = getpwuid(getuid()); entry && entry->pw_dir) return entry->pw_dir;
    return "/";
}

std::string dataDir() {
    std::string home = homeDir();
    if (home.size() > 1 && home.back() == '/') home.pop_back();
    return home + "/.kelvor";
}

std::string expandTilde(std::string_view path) { return expandTilde(path, homeDir()); }

std::string expandTilde(std::string_view path, std::string_view home) {
    if (path == "~") return std::string(home);
    if (path.size() >= 2 && path[0] == '~' && path[1] == '/') return std::string(home) + std::string(path.substr(1));
    return std::string(path);
}

}  // namespace kelvor
