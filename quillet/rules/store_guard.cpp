#include "quillet/rules/store_guard.hpp"

#include <sys/stat.h>

#include <array>

#include "quillet/platform/path_inside.hpp"

namespace kelvor {

namespace {

// Folders directly under "/" that belong to the system (Linux and macOS), never a store.
constexpr std::array<std::string_view, 34> SYSTEM_FOLDERS = {
    "bin",  "boot",   "dev",     "etc",  "home",    "lib",      "lib32",   "lib64",        "libx32",
    "lost+found",     "media",   "mnt",  "nix",     "opt",      "proc",    "root",         "run",
    "sbin", "snap",   "srv",     "sys",  "tmp",     "usr",      "var",     "cores",        "private",
    "Applications",   "Library", "System", "Users", "Volumes",  "Network", "efi",          "gnu",
};

}  // namespace

bool isTopLevelSystemFolder(std::string_view path) {
    while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
    if (path == "/") return true;
    if (!path.starts_with('/') || path.find('/', 1) != std::string_view::npos) return false;
    std::string_view name = path.substr(1);
    for (std::string_view folder : SYSTEM_FOLDERS)
        if (name == folder) return true;
    return false;
}

bool isMountRoot(const std::string& path) {
    struct stat self {}, parent {};
    if (::stat(path.c_str(), &self) != 0 || ::stat((path + "/..").c_str(), &parent) != 0) return false;
    return self.st_dev != parent.st_dev || self.st_ino == parent.st_ino;
}

std::optional<StoreRefusal> storeRefusal(const std::string& realPath, const std::string& realHome, StoreOrigin origin,
                                         unsigned uid) {
    if (realPath == "/" || pathInside(realHome, realPath)) return StoreRefusal::homeOrAbove;
    if (isTopLevelSystemFolder(realPath)) return StoreRefusal::systemFolder;
    if (isMountRoot(realPath)) return StoreRefusal::mountRoot;
    if (origin.fromVariable || origin.throughLink) {
        struct stat info {};
        if (::lstat(realPath.c_str(), &info) == 0 && info.st_uid != uid) return StoreRefusal::notYours;
    }
    // Ownership limits nobody who runs as root, so a link may only lead to another place at home.
    if (uid == 0 && origin.throughLink && !pathInside(realPath, realHome)) return StoreRefusal::linkLeavesHome;
    return std::nullopt;
}

std::string_view storeRefusalReason(StoreRefusal refusal) {
    switch (refusal) {
        case StoreRefusal::homeOrAbove: return "the root, the home folder or a folder above it";
        case StoreRefusal::mountRoot: return "the root of a mounted file system";
        case StoreRefusal::systemFolder: return "a top-level system folder";
        case StoreRefusal::notYours: return "named by a variable or a link and owned by someone else";
        case StoreRefusal::linkLeavesHome: return "a link that leads out of the home folder";
    }
    return "refused";
}

}  // namespace kelvor
