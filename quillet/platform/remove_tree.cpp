#include "quillet/platform/remove_tree.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <vector>

#include "quillet/platform/entry_identity.hpp"

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

bool sameEntry(const EntryIdentity& a, const EntryIdentity& b) { return a.device == b.device && a.inode == b.inode; }

// Opens the folder `name` in `parent` only when it is still the entry `expected` was taken from.
int openExpectedFolder(int parent, const std::string& name, const EntryIdentity& expected) {
    int fd = ::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) return -1;
    EntryIdentity opened;
    if (!identityAt(fd, "", opened) || !sameEntry(opened, expected)) {
        ::close(fd);
        errno = ESTALE;
        return -1;
    }
    return fd;
}

// The names in an open folder; the folder's own descriptor stays open and positioned as it was.
std::optional<std::vector<std::string>> namesIn(int folder) {
    int copy = ::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (copy < 0) return std::nullopt;
    DIR* dir = ::fdopendir(copy);
    if (!dir) {
        ::close(copy);
        return std::nullopt;
    }
    std::vector<std::string> names;
    while (dirent* entry = ::readdir(dir)) {
        std::string child = entry->d_name;
        if (child != "." && child != "..") names.push_back(std::move(child));
    }
    ::closedir(dir);
    return names;
}

// One folder on the way down: its name in the folder above, what it was, the names still to do.
struct Level {
    std::string name;
    EntryIdentity identity;
    std::vector<std::string> pending;
    bool incomplete = false;  // something below stays, so this folder stays too
};

// The path of a name below the deepest level, spelled out only when something is said about it:
// keeping every level's whole path would cost the square of the depth.
std::string pathOf(const std::string& realParent, const std::vector<Level>& levels, const std::string& child) {
    std::string path = realParent == "/" ? "" : realParent;
    for (const Level& level : levels) path += "/" + level.name;
    return child.empty() ? path : path + "/" + child;
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

Result<TreeRemoval> removeTreeForGood(const std::string& realParent, const std::string& name) {
    std::string shownTop = (realParent == "/" ? "" : realParent) + "/" + name;
    int top = openFolderNoFollow(realParent);
    if (top < 0) return errnoError(realParent);
    TreeRemoval outcome;
    auto failed = [&](const std::string& shown, int code) {
        if (!outcome.firstFailure) outcome.firstFailure = errnoError(shown, code);
    };
    EntryIdentity reference, entry;
    if (!identityAt(top, "", reference) || !identityAt(top, name.c_str(), entry)) {
        Error error = errnoError(shownTop);
        ::close(top);
        return error;
    }
    if (!onSameMount(entry, reference)) {
        outcome.leftAlone.push_back(shownTop);
        ::close(top);
        return outcome;
    }
    if (!entry.folder) {
        if (::unlinkat(top, name.c_str(), 0) == 0) outcome.gone = true;
        else failed(shownTop, errno);
        ::close(top);
        return outcome;
    }

    // Depth first without recursion: one descriptor for the folder being emptied (plus `top` and
    // a moment's listing copy), so neither the stack nor the open-file limit bounds the depth.
    int current = openExpectedFolder(top, name, entry);
    std::optional<std::vector<std::string>> names = current < 0 ? std::nullopt : namesIn(current);
    if (!names) {
        Error error = errnoError(shownTop);
        if (current >= 0) ::close(current);
        ::close(top);
        return error;
    }
    std::vector<Level> levels;
    levels.push_back({name, entry, std::move(*names)});
    while (!levels.empty()) {
        Level& level = levels.back();
        if (!level.pending.empty()) {
            std::string child = std::move(level.pending.back());
            level.pending.pop_back();
            EntryIdentity found;
            if (!identityAt(current, child.c_str(), found)) {
                if (errno != ENOENT) {
                    failed(pathOf(realParent, levels, child), errno);
                    level.incomplete = true;
                }
                continue;
            }
            if (!onSameMount(found, reference)) {
                outcome.leftAlone.push_back(pathOf(realParent, levels, child));
                level.incomplete = true;
                continue;
            }
            if (!found.folder) {
                if (::unlinkat(current, child.c_str(), 0) != 0 && errno != ENOENT) {
                    failed(pathOf(realParent, levels, child), errno);
                    level.incomplete = true;
                }
                continue;
            }
            int below = openExpectedFolder(current, child, found);
            std::optional<std::vector<std::string>> childNames = below < 0 ? std::nullopt : namesIn(below);
            if (!childNames) {
                failed(pathOf(realParent, levels, child), errno);
                level.incomplete = true;
                if (below >= 0) ::close(below);
                continue;
            }
            ::close(current);
            current = below;
            levels.push_back({std::move(child), found, std::move(*childNames)});
            continue;
        }

        // This folder is done: climb back to the one above, which must be the one we came from.
        Level done = std::move(levels.back());
        levels.pop_back();
        int above = top;
        if (!levels.empty()) {
            above = ::openat(current, "..", O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
            EntryIdentity climbed;
            if (above < 0 || !identityAt(above, "", climbed) || !sameEntry(climbed, levels.back().identity)) {
                Error moved = errnoError(pathOf(realParent, levels, ""), above < 0 ? errno : ESTALE);
                if (above >= 0) ::close(above);
                ::close(current);
                ::close(top);
                return moved;
            }
        }
        ::close(current);
        current = above;
        bool removed = !done.incomplete && ::unlinkat(above, done.name.c_str(), AT_REMOVEDIR) == 0;
        if (!done.incomplete && !removed) failed(pathOf(realParent, levels, done.name), errno);
        if (levels.empty()) outcome.gone = removed;
        else if (!removed) levels.back().incomplete = true;
    }
    ::close(top);
    return outcome;
}

Result<void> removeEntryForGood(const std::string& realParent, const std::string& name) {
    Result<TreeRemoval> removed = removeTreeForGood(realParent, name);
    if (!removed) return removed.error();
    if (removed->gone) return {};
    if (removed->firstFailure) return *removed->firstFailure;
    return Error{ErrorKind::busy, "other file systems are mounted inside " + realParent + "/" + name};
}

}  // namespace kelvor
