#include "quillet/platform/fsops.hpp"

#include <stdio.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include "quillet/platform/time_stamps.hpp"
#include "quillet/platform/trash.hpp"

namespace kelvor {

namespace {

class DarwinFileOps final : public FileOps {
public:
    Result<void> rename(const std::string& from, const std::string& to) override {
        if (::renamex_np(from.c_str(), to.c_str(), RENAME_EXCL) != 0) return errnoError("rename " + from + " to " + to);
        return {};
    }

    Result<PathIdentity> identity(const std::string& path) override {
        struct stat info {};
        if (::lstat(path.c_str(), &info) != 0) return errnoError("look at " + path);
        return PathIdentity{static_cast<std::uint64_t>(info.st_dev), static_cast<std::uint64_t>(info.st_ino),
                            S_ISDIR(info.st_mode)};
    }

    Result<std::optional<std::string>> getXattr(const std::string& path, const std::string& name) override {
        for (;;) {
            ssize_t size = ::getxattr(path.c_str(), name.c_str(), nullptr, 0, 0, XATTR_NOFOLLOW);
            if (size < 0) {
                if (errno == ENOATTR) return std::optional<std::string>();
                return errnoError("read attribute " + name + " of " + path);
            }
            std::string value(static_cast<size_t>(size), '\0');
            ssize_t got = ::getxattr(path.c_str(), name.c_str(), value.data(), value.size(), 0, XATTR_NOFOLLOW);
            if (got < 0 && errno == ERANGE) continue;
            if (got < 0) {
                if (errno == ENOATTR) return std::optional<std::string>();
                return errnoError("read attribute " + name + " of " + path);
            }
            value.resize(static_cast<size_t>(got));
            return std::optional<std::string>(std::move(value));
        }
    }

    Result<void> setXattr(const std::string& path, const std::string& name, const std::string& value) override {
        if (::setxattr(path.c_str(), name.c_str(), value.data(), value.size(), 0, XATTR_NOFOLLOW) != 0)
            return errnoError("set attribute " + name + " of " + path);
        return {};
    }

    Result<void> removeXattr(const std::string& path, const std::string& name) override {
        if (::removexattr(path.c_str(), name.c_str(), XATTR_NOFOLLOW) != 0 && errno != ENOATTR)
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
    static auto* operations = new DarwinFileOps();
    return *operations;
}

}  // namespace kelvor
