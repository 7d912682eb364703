#pragma once
// The lock every shared record is edited under: one thread at a time per record inside the
// process (the same thread may enter again), and an exclusive flock on "<record>.lock" between
// processes.
#include <string>
#include <utility>

#include "quillet/platform/result.hpp"
#include "quillet/records/file_lock.hpp"

namespace kelvor {

// The companion lock file of the record at `path`: `path` + ".lock".
std::string recordLockPath(const std::string& path);

// One hold of a record's lock; the lock is released when the last hold of the record in this
// thread is destroyed.
class RecordLock {
public:
    // Takes the record's lock. A thread that already holds `path` passes at once; another thread
    // of this process waits until the holder leaves, whatever `wait` says. Then the file lock is
    // taken as `wait` says: with dontWait, a holder in another process (or another open of the
    // lock file) gives an Error of kind busy. The folder of `path` must exist. Records are told
    // apart by the spelling of `path`, so callers pass one canonical form.
    static Result<RecordLock> hold(const std::string& path, LockWait wait);

    RecordLock(RecordLock&& other) noexcept : path_(std::exchange(other.path_, std::string())) {}
    RecordLock& operator=(RecordLock&&) = delete;
    RecordLock(const RecordLock&) = delete;
    RecordLock& operator=(const RecordLock&) = delete;
    ~RecordLock();

private:
    explicit RecordLock(std::string path) : path_(std::move(path)) {}
    std::string path_;  // empty once moved from
};

// Runs `body()` holding the lock of the record at `path` and returns what it returns; when the
// lock cannot be had, returns `blocked(error)` instead without running `body`.
template <typename Blocked, typename Body>
auto withRecordLock(const std::string& path, LockWait wait, Blocked&& blocked, Body&& body) -> decltype(body()) {
    Result<RecordLock> held = RecordLock::hold(path, wait);
    if (!held) return blocked(held.error());
    return body();
}

}  // namespace kelvor
