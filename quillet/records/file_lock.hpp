#pragma once
// An exclusive lock between processes: a flock on a companion ".lock" file, released when the
// FileLock is destroyed. Locks are per open file, so two FileLocks on one path exclude each other
// even inside one process.
#include <string>

#include "quillet/platform/result.hpp"

namespace kelvor {

enum class LockWait { wait, dontWait };

class FileLock {
public:
    // Opens `path` (creating it with `mode`) and takes the exclusive lock, retrying when
    // interrupted. With LockWait::wait it waits for another holder; with dontWait it fails at once
    // with ErrorKind::busy instead.
    static Result<FileLock> acquire(const std::string& path, LockWait wait, unsigned mode = 0644);

    // True when `error` came from acquire(dontWait) finding the lock held elsewhere.
    static bool heldElsewhere(const Error& error);

    FileLock(FileLock&& other) noexcept;
    FileLock& operator=(FileLock&& other) noexcept;
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;
    ~FileLock();

private:
    explicit FileLock(int descriptor) : descriptor_(descriptor) {}
    void release();
    int descriptor_ = -1;
};

}  // namespace kelvor
