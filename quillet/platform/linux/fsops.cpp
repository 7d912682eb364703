#include "quillet/platform/fsops.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <cstdio>

#include "quillet/platform/time_stamps.hpp"
#include "quillet/platform/trash.hpp"

namespace kelvor {

namespace {

// Linux keeps unprivileged attributes in the "user." namespace.
std::string attributeName(const std::string& name) { return "user." + name; }

class LinuxFileOps final : public FileOps {
public:
    Result<void> rename(const std::string& from, const std::string& to) override {
        if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return {};
        if (errno != EINVAL) return errnoError("rename " + from + " to " + to);
        // A file system without the no-replace flag: look first. The gap is the best it allows.
        struct stat occupant {};
        if (::lstat(to.c_str(), &occupant) == 0) return errnoError("rename " + from + " to " + to, EEXIST);
        if (::rename(from.c_str(), to.c_str()) != 0) return errnoError("rename " + from + " to " + to);
        return {};
    }

    Result<PathIdentity> identity(const std::string& path) override {
        struct stat info {};
        if (::lstat(path.c_str(), &info) != 0) return errnoError("look at " + path);
        return PathIdentity{static_cast<std::uint64_t>(info.st_dev), static_cast<std::uint64_t>(info.st_ino),
                            S_ISDIR(info.st_mode)};
    }

    Result<std::optional<std::string>> getXattr(const std::string& path, const std::string& name) override {
        const std::string full = attributeName(name);
        for (;;) {
            ssize_t size = ::lgetxattr(path.c_str(), full.c_str(), nullptr, 0);
            if (size < 0) {
                if (errno == ENODATA) return std::optional<std::string>();
                return errnoError("read attribute " + name + " of " + path);
            }
            std::string value(static_cast<size_t>(size), '\0');
            ssize_t got = ::lgetxattr(path.c_str(), full.c_str(), value.data(), value.size());
            // The value grew between the two calls: ask again.
            if (got < 0 && errno == ERANGE) continue;
            if (got < 0) {
                if (errno == ENODATA) return std::optional<std::string>();
                return errnoError("read attribute " + name + " of " + path);
            }
            value.resize(static_cast<size_t>(got));
            return std::optional<std::string>(std::move(value));
        }
    }

    Result<void> setXattr(const std::string& path, const std::string& name, const std::string& value) override {
        if (::lsetxattr(path.c_str(), attributeName(name).c_str(), value.data(), value.size(), 0) != 0)
            return errnoError("set attribute " + name + " of " + path);
        return {};
    }

    Result<void> removeXattr(const std::string& path, const std::string& name) override {
        if (::lremovexattr(path.c_str(), attributeName(name).c_str()) != 0 && errno != ENODATA)
            return errnoError("remove attribute " + name + " of " + path);
        return {};
    }

    Result<std::string> moveToTrash(const std::string& path) override {
        Result<TrashMove> moved = kelvor::moveToTrash(path, localTrashStamp(WallClock::now()));
        if (!moved) return moved.error();
        return moved->destination;
    }
};

}  // namespace

FileOps& FileOps::real() {
    static auto* operations = new LinuxFileOps();
    return *operations;
}

}  // namespace kelvor
