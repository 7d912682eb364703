#include "quillet/scan/walker.hpp"

#include <climits>
#include <atomic>
#include <cerrno>
#include <memory>

#include "quillet/platform/dir_failures.hpp"
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

// True for the failures of a folder that changed between its listing and its opening: removed, or
// replaced by a link or a file. It is simply not there to measure, so it is not counted.
bool changedMeanwhile(int code) { return code == ENOENT || code == ELOOP || code == ENOTDIR; }

// A path the system can still open in one call, with room for one more name.
constexpr std::size_t SHORT_PATH = PATH_MAX - NAME_MAX - 2;

}  // namespace

struct HeldDir {
    HeldDir(OpenDir opened, std::atomic<int>& heldCount) : dir(std::move(opened)), held(heldCount) {
        held.fetch_add(1, std::memory_order_relaxed);
    }
    ~HeldDir() { held.fetch_sub(1, std::memory_order_relaxed); }
    HeldDir(const HeldDir&) = delete;
    HeldDir& operator=(const HeldDir&) = delete;

    OpenDir dir;
    std::atomic<int>& held;
};

namespace {

// The folder `item` names: relative to its anchor, one component at a time and never through a
// link, or by its path when no anchor was kept.
Result<OpenDir> openItem(const WorkItem& item) {
    if (!item.anchor) return OpenDir::open(item.path);
    std::string_view rest = std::string_view(item.path).substr(item.anchorLength);
    while (rest.starts_with('/')) rest.remove_prefix(1);
    size_t slash = rest.find('/');
    if (slash == std::string_view::npos) return OpenDir::openAt(item.anchor->dir, std::string(rest));
    Result<OpenDir> current = OpenDir::openAt(item.anchor->dir, std::string(rest.substr(0, slash)));
    while (current && slash != std::string_view::npos) {
        rest.remove_prefix(slash + 1);
        slash = rest.find('/');
        current = OpenDir::openAt(*current, std::string(rest.substr(0, slash)));
    }
    return current;
}

// One worker's private state: its buffer, its sums since the last flush, and the folders found in
// the directory it holds. Nothing here is shared, so reading and adding up take no lock.
struct Worker {
    Worker(Agg& target, std::atomic<int>& heldCount) : agg(target), held(heldCount) {}

    Agg& agg;
    std::atomic<int>& held;
    std::unique_ptr<std::byte[]> buffer{new std::byte[BUF_SIZE]};
    WorkerTally tally;
    std::uint64_t sinceFlush = 0;
    std::vector<WorkItem> children;
    const WorkItem* item = nullptr;
    const OpenDir* dir = nullptr;
    std::uint64_t itemBytes = 0;

    void take(const BulkEntry& entry) {
        ++sinceFlush;
        if (entry.objType == VDIR) {
            children.push_back({childPath(item->path, entry.name), item->bucket});
            ++tally.dirs;
        } else if (entry.objType == VREG) {
            ++tally.files;
            if (entry.linkCount < 2 ||
                agg.claimLinkedFile({entry.fileID, entry.linkCount, entry.allocSize, deviceOf(entry)}))
                itemBytes += entry.allocSize;
        }
    }

    std::uint64_t deviceOf(const BulkEntry& entry) const { return entry.device != 0 ? entry.device : dir->device(); }

    // Gives the folders found in `opened` the anchor they are opened from: the folder itself while
    // few are held; else their path when it is short enough, else the anchor it was opened from.
    void anchorChildren(const WorkItem& parent, OpenDir&& opened) {
        if (children.empty()) return;
        std::shared_ptr<const HeldDir> anchor = parent.anchor;
        std::size_t anchorLength = parent.anchorLength;
        bool longPaths = parent.path.size() >= SHORT_PATH;
        if (held.load(std::memory_order_relaxed) < HELD_DIR_LIMIT || (longPaths && !anchor)) {
            anchor = std::make_shared<const HeldDir>(std::move(opened), held);
            anchorLength = parent.path.size();
        } else if (!longPaths) {
            anchor.reset();
            anchorLength = 0;
        }
        for (WorkItem& child : children) {
            child.anchor = anchor;
            child.anchorLength = anchorLength;
        }
    }

    void run(WorkQueue& queue) {
        const EntrySink sink = [this](const BulkEntry& entry) { take(entry); };
        while (std::optional<WorkItem> next = queue.pop()) {
            item = &*next;
            itemBytes = 0;
            Result<OpenDir> opened = openItem(*next);
            next->anchor.reset();  // the parent stays open only while folders in it wait
            if (!opened) {
                if (!changedMeanwhile(opened.error().code))
                    countReadFailure(opened.error().kind, tally.denied, tally.errors);
            } else {
                dir = &*opened;
                readOpenDir(*opened, buffer.get(), BUF_SIZE, tally.denied, tally.errors, sink,
                            EntryDetail::regularFilesOnly);
                if (itemBytes > 0) tally.bytes[next->bucket] += itemBytes;
                anchorChildren(*next, std::move(*opened));
            }
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
    std::atomic<int> held{0};
    runWorkers(threads < 1 ? 1 : threads, WORKER_STACK_BYTES, [&](int) {
        Worker worker(agg, held);
        worker.run(queue);
    });
    return queue.cancelled() ? WalkEnd::cancelled : WalkEnd::finished;
}

}  // namespace kelvor
