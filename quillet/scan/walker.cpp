#include "quillet/scan/walker.hpp"

#include <memory>

#include "quillet/platform/dirs.hpp"
#include "quillet/platform/workers.hpp"

namespace kelvor {

WorkQueue::WorkQueue(std::vector<WorkItem> seeds, QueueOrder order, std::optional<Deadline> deadline)
    : stack_(std::move(seeds)), order_(order), deadline_(deadline) {}

bool WorkQueue::available() const {
    return order_ == QueueOrder::breadthFirst ? head_ < stack_.size() : !stack_.empty();
}

bool WorkQueue::pastDeadline() {
    if (deadline_ && std::chrono::steady_clock::now() >= *deadline_) {
        cancelled_ = true;
        cond_.notify_all();
    }
    return cancelled_;
}

std::optional<WorkItem> WorkQueue::pop() {
    std::unique_lock guard(lock_);
    for (;;) {
        if (cancelled_ || done_ || pastDeadline()) return std::nullopt;
        std::optional<WorkItem> item;
        if (order_ == QueueOrder::breadthFirst) {
            if (head_ < stack_.size()) {
                item = std::move(stack_[head_]);
                ++head_;
                // Drop the consumed front once it is large and more than half of the list.
                if (head_ >= QUEUE_COMPACT_AT && stack_.size() < 2 * head_) {
                    stack_.erase(stack_.begin(), stack_.begin() + static_cast<std::ptrdiff_t>(head_));
                    head_ = 0;
                }
            }
        } else if (!stack_.empty()) {
            item = std::move(stack_.back());
            stack_.pop_back();
        }
        if (item) {
            ++busy_;
            return item;
        }
        if (busy_ == 0) {
            done_ = true;
            cond_.notify_all();
            return std::nullopt;
        }
        if (deadline_) cond_.wait_until(guard, *deadline_);
        else cond_.wait(guard);
    }
}

void WorkQueue::finish(std::vector<WorkItem>& pushing) {
    std::unique_lock guard(lock_);
    const bool pushed = !pushing.empty();
    for (WorkItem& item : pushing) stack_.push_back(std::move(item));
    pushing.clear();
    --busy_;
    if (busy_ == 0 && !available()) done_ = true;
    if (done_ || pushed) cond_.notify_all();
}

void WorkQueue::cancel() {
    std::lock_guard guard(lock_);
    cancelled_ = true;
    cond_.notify_all();
}

bool WorkQueue::cancelled() const {
    std::lock_guard guard(lock_);
    return cancelled_;
}

bool WorkQueue::done() const {
    std::lock_guard guard(lock_);
    return done_;
}

std::size_t WorkQueue::stored() const {
    std::lock_guard guard(lock_);
    return stack_.size();
}

std::string childPath(const std::string& folder, const std::string& name) {
    std::string path;
    path.reserve(folder.size() + 1 + name.size());
    path = folder;
    if (path.empty() || path.back() != '/') path += '/';
    path += name;
    return path;
}

namespace {

// One worker's private state: its buffer, its sums since the last flush, and the folders found in
// the directory it holds. Nothing here is shared, so reading and adding up take no lock.
struct Worker {
    explicit Worker(Agg& target) : agg(target) {}

    Agg& agg;
    std::unique_ptr<std::byte[]> buffer{new std::byte[BUF_SIZE]};
    WorkerTally tally;
    std::uint64_t sinceFlush = 0;
    std::vector<WorkItem> children;
    const WorkItem* item = nullptr;
    std::uint64_t itemBytes = 0;

    void take(const BulkEntry& entry) {
        ++sinceFlush;
        if (entry.objType == VDIR) {
            children.push_back({childPath(item->path, entry.name), item->bucket});
            ++tally.dirs;
        } else if (entry.objType == VREG) {
            ++tally.files;
            if (entry.linkCount < 2 || agg.claimLinkedFile({entry.fileID, entry.linkCount, entry.allocSize}))
                itemBytes += entry.allocSize;
        }
    }

    void run(WorkQueue& queue) {
        const EntrySink sink = [this](const BulkEntry& entry) { take(entry); };
        while (std::optional<WorkItem> next = queue.pop()) {
            item = &*next;
            itemBytes = 0;
            readDirBulk(next->path, buffer.get(), BUF_SIZE, tally.denied, tally.errors, sink,
                        EntryDetail::regularFilesOnly);
            if (itemBytes > 0) tally.bytes[next->bucket] += itemBytes;
            if (sinceFlush >= FLUSH_EVERY) {
                agg.flush(tally);
                sinceFlush = 0;
            }
            queue.finish(children);
        }
        agg.flush(tally);
    }
};

}  // namespace

WalkEnd scanBulk(int threads, Agg& agg, std::vector<WorkItem> seeds, QueueOrder order, std::optional<Deadline> deadline) {
    WorkQueue queue(std::move(seeds), order, deadline);
    runWorkers(threads < 1 ? 1 : threads, WORKER_STACK_BYTES, [&](int) {
        Worker worker(agg);
        worker.run(queue);
    });
    return queue.cancelled() ? WalkEnd::cancelled : WalkEnd::finished;
}

}  // namespace kelvor
