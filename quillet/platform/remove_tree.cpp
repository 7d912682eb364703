#include "quillet/platform/remove_tree.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <vector>

namespace kelvor {

namespace {

// Opens a folder given as an absolute path one component at a time, refusing any link on the way.
int openFolderNoFollow(const std::string& path) {
    int fd = ::open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    size_t start = 1;
    while (fd >= 0 && start < path.size()) {
        size_t end = path.find('/', start);
        if (end == std::string::npos) end = path.size();
        std::string piece = path.substr(start, end - start);
        start = end + 1;
        if (piece.empty()) continue;
        int next = ::openat(fd, piece.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        int saved = errno;
        ::close(fd);
        errno = saved;
        fd = next;
    }
    return fd;
}

Result<void> removeEntryAt(int parent, const std::string& name, const std::string& shownPath) {
    struct stat info {};
    if (::fstatat(parent, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) return errnoError(shownPath);
    if (!S_ISDIR(info.st_mode)) {
        if (::unlinkat(parent, name.c_str(), 0) != 0) return errnoError(shownPath);
        return {};
    }
    int fd = ::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) return errnoError(shownPath);
    DIR* dir = ::fdopendir(fd);
    if (!dir) {
        int saved = errno;
        ::close(fd);
        return errnoError(shownPath, saved);
    }
    // Names first, then removal: removing while reading may skip entries.
    std::vector<std::string> children;
    while (dirent* entry = ::readdir(dir)) {
        std::string child = entry->d_name;
        if (child != "." && child != "..") children.push_back(std::move(child));
    }
    Result<void> outcome;
    for (const std::string& child : children) {
        Result<void> removed = removeEntryAt(::dirfd(dir), child, shownPath + "/" + child);
        if (!removed && outcome) outcome = removed;
    }
    ::closedir(dir);
    if (!outcome) return outcome;
    if (::unlinkat(parent, name.c_str(), AT_REMOVEDIR) != 0) return errnoError(shownPath);
    return {};
}

}  // namespace

Result<std::string> realPathOfEntry(const std::string& path) {
    std::string trimmed = path;
    while (trimmed.size() > 1 && trimmed.back() == '/') trimmed.pop_back();
    size_t slash = trimmed.rfind('/');
    std::string parent = slash == std::string::npos ? "." : (slash == 0 ? "/" : trimmed.substr(0, slash));
    std::string name = slash == std::string::npos ? trimmed : trimmed.substr(slash + 1);
    if (name.empty() || name == "." || name == "..") return Error{EINVAL, path};
    char resolved[PATH_MAX];
    if (!::realpath(parent.c_str(), resolved)) return errnoError(path);
    std::string real = resolved;
    return real == "/" ? "/" + name : real + "/" + name;
}

Result<void> removeTreeForGood(const std::string& realParent, const std::string& name) {
    int parent = openFolderNoFollow(realParent);
    if (parent < 0) return errnoError(realParent);
    Result<void> outcome = removeEntryAt(parent, name, realParent + "/" + name);
    ::close(parent);
    return outcome;
}

}  // namespace kelvor
