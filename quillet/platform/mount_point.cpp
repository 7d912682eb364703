#include <sys/stat.h>

#include "quillet/platform/trash.hpp"

namespace kelvor {

// Plain POSIX: the root of a mounted file system is on another device than its parent ("/" is
// its own parent).
bool isMountPoint(const std::string& path) {
    if (path == "/") return true;
    struct stat self {}, parent {};
    if (::lstat(path.c_str(), &self) != 0 || !S_ISDIR(self.st_mode)) return false;
    if (::stat((path + "/..").c_str(), &parent) != 0) return false;
    return self.st_dev != parent.st_dev || self.st_ino == parent.st_ino;
}

std::string mountTopOf(const std::string& path) {
    struct stat self {};
    if (::lstat(path.c_str(), &self) != 0) return "/";
    std::string current = path;
    while (current != "/" && !current.empty()) {
        size_t slash = current.rfind('/');
        std::string parent = slash == 0 ? "/" : current.substr(0, slash);
        struct stat above {};
        if (::lstat(parent.c_str(), &above) != 0 || above.st_dev != self.st_dev) break;
        current = parent;
    }
    return current.empty() ? "/" : current;
}

}  // namespace kelvor
