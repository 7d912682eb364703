#include "quillet/records/record_lock.hpp"

#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <thread>

namespace kelvor {

namespace {

// Which thread holds which record, how often it entered, and the file lock it took first.
class ReentrantPathLock {
public:
    static ReentrantPathLock& shared() {
        // Never destroyed: a record may still be released while the process exits.
        static auto* instance = new ReentrantPathLock();
        return *instance;
    }

    Result<void> enter(const std::string& path, LockWait wait) {
        const std::thread::id me = std::this_thread::get_id();
        std::unique_lock guard(mutex_);
        left_.wait(guard, [&] {
            auto found = holders_.find(path);
            return found == holders_.end() || found->second.thread == me;
        });
        if (auto found = holders_.find(path); found != holders_.end()) {
            ++found->second.depth;
            return {};
        }
        // Claimed before the file lock is taken, so other threads wait here rather than on flock;
        // the map's mutex is not held while flock waits, so other records stay free.
        holders_[path] = Holder{me, 1, std::nullopt};
        guard.unlock();
        Result<FileLock> file = FileLock::acquire(recordLockPath(path), wait);
        guard.lock();
        if (!file) {
            holders_.erase(path);
            left_.notify_all();
            return file.error();
        }
        holders_[path].file.emplace(std::move(*file));
        return {};
    }

    void leave(const std::string& path) {
        {
            std::lock_guard guard(mutex_);
            auto found = holders_.find(path);
            if (found == holders_.end() || --found->second.depth > 0) return;
            // The flock goes with the entry, so the next thread never finds it still held.
            holders_.erase(found);
        }
        left_.notify_all();
    }

private:
    struct Holder {
        std::thread::id thread;
        int depth = 0;
        std::optional<FileLock> file;
    };

    std::mutex mutex_;
    std::condition_variable left_;
    std::map<std::string, Holder> holders_;
};

}  // namespace

std::string recordLockPath(const std::string& path) { return path + ".lock"; }

Result<RecordLock> RecordLock::hold(const std::string& path, LockWait wait) {
    if (Result<void> entered = ReentrantPathLock::shared().enter(path, wait); !entered) return entered.error();
    return RecordLock(path);
}

RecordLock::~RecordLock() {
    if (!path_.empty()) ReentrantPathLock::shared().leave(path_);
}

}  // namespace kelvor
