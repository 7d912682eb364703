#pragma once
// The file operations that removal makes, behind an interface so that a test can make the third
// move fail or a disk seem full. Reading directories stays in dirs.hpp: the walker never needs
// replacing. No call here follows a symbolic link at the end of a path.
#include <cstdint>
#include <optional>
#include <string>

#include "quillet/platform/result.hpp"

namespace kelvor {

// The identity of a file-system object; two paths name the same object when device and inode
// match.
struct PathIdentity {
    std::uint64_t dev = 0;
    std::uint64_t ino = 0;
    bool isDir = false;

    bool operator==(const PathIdentity&) const = default;
};

class FileOps {
public:
    virtual ~FileOps() = default;

    // Moves `from` to `to` within one file system. Never replaces: when `to` exists the Error has
    // kind exists; across file systems, kind crossDevice.
    virtual Result<void> rename(const std::string& from, const std::string& to) = 0;

    // The identity of `path` itself (a link is not followed).
    virtual Result<PathIdentity> identity(const std::string& path) = 0;

    // The extended attribute `name` of `path` (not through a link); none when it is not set.
    // `name` has no namespace prefix: on Linux it is kept in the "user." namespace.
    virtual Result<std::optional<std::string>> getXattr(const std::string& path, const std::string& name) = 0;
    // Sets the extended attribute `name` of `path` to `value`, replacing an earlier value.
    virtual Result<void> setXattr(const std::string& path, const std::string& name, const std::string& value) = 0;
    // Removes the extended attribute `name` of `path`; removing one that is not set is no error.
    virtual Result<void> removeXattr(const std::string& path, const std::string& name) = 0;

    // Moves `path` into the person's Trash and returns where it now is.
    virtual Result<std::string> moveToTrash(const std::string& path) = 0;

    // The system's file operations. Shared and never destroyed.
    static FileOps& real();
};

// Forwards every call to other file operations; a test derives from it and overrides one call.
class FileOpsWrapper : public FileOps {
public:
    explicit FileOpsWrapper(FileOps& target) : target_(target) {}
    FileOps& target() { return target_; }

    Result<void> rename(const std::string& from, const std::string& to) override { return target_.rename(from, to); }
    Result<PathIdentity> identity(const std::string& path) override { return target_.identity(path); }
    Result<std::optional<std::string>> getXattr(const std::string& path, const std::string& name) override {
        return target_.getXattr(path, name);
    }
    Result<void> setXattr(const std::string& path, const std::string& name, const std::string& value) override {
        return target_.setXattr(path, name, value);
    }
    Result<void> removeXattr(const std::string& path, const std::string& name) override {
        return target_.removeXattr(path, name);
    }
    Result<std::string> moveToTrash(const std::string& path) override { return target_.moveToTrash(path); }

private:
    FileOps& target_;
};

}  // namespace kelvor
