#include "quillet/scan/walker.hpp"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>
#include <string>

#include "quillet/platform/dir_failures.hpp"
#include "quillet/platform/disk_reads.hpp"
#include "quillet/platform/dirs.hpp"
#include "quillet/platform/processor_time.hpp"
#include "quillet/platform/workers.hpp"

namespace kelvor {

WorkQueue::WorkQueue(std::vector<WorkItem> seeds, QueueOrder order, std::optional<Deadline> deadline)
    : stack_(std::move(seeds)), order_(order), deadline_(deadline) {}

bool WorkQueue::available() const {
    return order_ == QueueOrder::breadthFirst ? head_ < stack_.size() : !stack_.empty();
}

bool WorkQueue::pastDeadline() {
    if (deadline_ && std::chrono::steady_clock::now() >= *deadline_ && !cancelled_) {
        cancelled_ = true;
        cond_.notify_all();
        ended_.notify_all();
    }
    return cancelled_;
}

void WorkQueue::end() {
    done_ = true;
    cond_.notify_all();
    ended_.notify_all();
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
            end();
            return std::nullopt;
        }
        if (deadline_) cond_.wait_until(guard, *deadline_);
        else cond_.wait(guard);
    }
}

void WorkQueue::push(std::vector<WorkItem>& pushing) {
    if (pushing.empty()) return;
    const bool one = pushing.size() == 1;
    {
        std::lock_guard guard(lock_);
        for (WorkItem& item : pushing) stack_.push_back(std::move(item));
    }
    pushing.clear();
    // One batch of a large folder needs one worker: waking them all would send the rest back to sleep.
    if (one) cond_.notify_one();
    else cond_.notify_all();
}

void WorkQueue::finish(std::vector<WorkItem>& pushing) {
    std::unique_lock guard(lock_);
    const bool pushed = !pushing.empty();
    for (WorkItem& item : pushing) stack_.push_back(std::move(item));
    pushing.clear();
    --busy_;
    if (busy_ == 0 && !available()) end();
    else if (pushed) cond_.notify_all();
}

void WorkQueue::cancel() {
    std::lock_guard guard(lock_);
    cancelled_ = true;
    cond_.notify_all();
    ended_.notify_all();
}

bool WorkQueue::waitEnd(std::chrono::milliseconds longest) {
    std::unique_lock guard(lock_);
    auto until = std::chrono::steady_clock::now() + longest;
    if (deadline_ && *deadline_ < until) until = *deadline_;
    ended_.wait_until(guard, until, [this] { return done_ || cancelled_; });
    return done_ || cancelled_ || pastDeadline();
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

void appendToBatch(std::string& batch, std::uint64_t inode, const std::string& name) {
    batch.append(reinterpret_cast<const char*>(&inode), sizeof inode);
    batch.append(name).push_back('\0');
}

void namesOfBatch(const std::string& batch, bool byInode, std::vector<std::pair<std::uint64_t, const char*>>& names) {
    names.clear();
    for (std::size_t at = 0; at + sizeof(std::uint64_t) < batch.size();) {
        std::uint64_t inode;
        std::memcpy(&inode, batch.data() + at, sizeof inode);
        const char* name = batch.c_str() + at + sizeof inode;
        names.emplace_back(inode, name);
        at += sizeof inode + std::char_traits<char>::length(name) + 1;
    }
    if (byInode && !std::is_sorted(names.begin(), names.end())) std::sort(names.begin(), names.end());
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
    // Batches of this folder's names handed to other workers and not yet described.
    mutable std::atomic<int> batchesWaiting{0};
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
    Worker(Agg& target, WorkQueue& work, std::atomic<int>& heldCount, const std::atomic<bool>& byInode, bool others)
        : agg(target), queue(work), held(heldCount), inodeOrder(byInode), othersHelp(others) {}

    Agg& agg;
    WorkQueue& queue;
    std::atomic<int>& held;
    const std::atomic<bool>& inodeOrder;  // describe a batch's names in the order of their inodes
    const bool othersHelp;  // more than one worker: a large folder's batches are worth handing out
    std::unique_ptr<std::byte[]> buffer{new std::byte[BUF_SIZE]};
    WorkerTally tally;
    std::uint64_t sinceFlush = 0;
    std::vector<WorkItem> children;
    std::vector<WorkItem> batches;
    const WorkItem* item = nullptr;
    std::shared_ptr<const HeldDir> folder;  // the folder being read
    std::string names;                      // regular files listed and not yet described (a batch)
    std::vector<std::pair<std::uint64_t, const char*>> order;  // a batch in the order it is described
    std::size_t nameCount = 0;
    std::uint64_t itemBytes = 0;
    BulkEntry described;
    LinkBatch linked;  // multiply-linked files met since the last claim, all in the item's bucket

    void count(const BulkEntry& entry, const OpenDir& in) {
        ++tally.files;
        if (entry.linkCount < 2) itemBytes += entry.allocSize;
        else linked.add({entry.fileID, entry.linkCount, entry.allocSize, entry.device != 0 ? entry.device : in.device()});
    }

    void take(const BulkEntry& entry) {
        ++sinceFlush;
        if (entry.objType == VDIR) {
            children.push_back({childPath(item->path, entry.name), item->bucket});
            ++tally.dirs;
        } else if (entry.objType == VREG) {
            // The listing described it already (its type was unknown); else it waits in a batch.
            if (entry.linkCount != 0) {
                count(entry, folder->dir);
                return;
            }
            appendToBatch(names, entry.fileID, entry.name);
            if (++nameCount == SHARED_BATCH_NAMES) handOutBatch();
        }
    }

    // Describes and counts every name of `batch` inside `in`; in the order of their inode numbers
    // once the walk reads from the disk. A folder lists its names in the order of their hash; looked
    // up in inode order, the inodes of a cold disk are read from its inode table block after block,
    // each block holding several of them. Cached ones are not worth the sort: they sit in memory in
    // the order the programs that met them first met them, most often the listing's. The one
    // reading a huge folder only lists: whoever describes a batch sorts it.
    void describeAll(const std::string& batch, const OpenDir& in) {
        namesOfBatch(batch, inodeOrder.load(std::memory_order_relaxed), order);
        for (const auto& [inode, name] : order) {
            ++sinceFlush;
            Result<void> found = describeIn(in, name, described);
            if (!found) {
                // Removed between the listing and the look: it is simply gone, not an error.
                if (found.error().kind != ErrorKind::notFound) ++tally.errors;
                continue;
            }
            // Replaced by something else since the listing: only regular files are measured.
            if (described.objType == VREG) count(described, in);
        }
        if (!linked.empty()) itemBytes += agg.claimLinkedFiles(linked);
    }

    // A full batch goes to whichever worker is free while few of this folder's wait; else the
    // reader describes it now, which bounds the names held.
    void handOutBatch() {
        if (othersHelp && folder->batchesWaiting.load(std::memory_order_relaxed) < SHARED_BATCHES_WAITING) {
            folder->batchesWaiting.fetch_add(1, std::memory_order_relaxed);
            batches.push_back({std::string(), item->bucket, folder, 0, std::move(names)});
            queue.push(batches);
        } else {
            describeAll(names, folder->dir);
        }
        names.clear();
        nameCount = 0;
    }

    // Gives the folders found in the folder just read the anchor they are opened from: that folder
    // while few are held; else their path when it is short enough, else the anchor it was opened from.
    void anchorChildren(const WorkItem& parent) {
        if (children.empty()) return;
        std::shared_ptr<const HeldDir> anchor = parent.anchor;
        std::size_t anchorLength = parent.anchorLength;
        bool longPaths = parent.path.size() >= SHORT_PATH;
        // The folder itself is counted among the held ones already, hence "<=".
        if (held.load(std::memory_order_relaxed) <= HELD_DIR_LIMIT || (longPaths && !anchor)) {
            anchor = folder;
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

    void readFolder(WorkItem& next) {
        Result<OpenDir> opened = openItem(next);
        next.anchor.reset();  // the parent stays open only while folders in it wait
        if (!opened) {
            if (!changedMeanwhile(opened.error().code)) countReadFailure(opened.error().kind, tally.denied, tally.errors);
            return;
        }
        folder = std::make_shared<const HeldDir>(std::move(*opened), held);
        const EntrySink sink = [this](const BulkEntry& entry) { take(entry); };
        // Listed names wait in batches, to be sorted by inode (reading from the disk) or shared
        // (a huge folder); else each file is described straight from the listing.
        const EntryDetail detail = inodeOrder.load(std::memory_order_relaxed) ? EntryDetail::namesAndTypes
                                                                              : EntryDetail::regularFilesOfSmallFolders;
        readOpenDir(folder->dir, buffer.get(), BUF_SIZE, tally.denied, tally.errors, sink, detail);
        describeAll(names, folder->dir);
        names.clear();
        nameCount = 0;
        anchorChildren(next);
        folder.reset();
    }

    void run() {
        while (std::optional<WorkItem> next = queue.pop()) {
            item = &*next;
            itemBytes = 0;
            if (!next->names.empty()) {
                describeAll(next->names, next->anchor->dir);
                next->anchor->batchesWaiting.fetch_sub(1, std::memory_order_relaxed);
            } else {
                readFolder(*next);
            }
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
    return scanBulk(exactWalkWorkers(threads), agg, std::move(seeds), order, deadline);
}

WalkEnd scanBulk(const WalkWorkers& workers, Agg& agg, std::vector<WorkItem> seeds, QueueOrder order,
                 std::optional<Deadline> deadline) {
    WorkQueue queue(std::move(seeds), order, deadline);
    std::atomic<int> held{0};
    std::atomic<bool> inodeOrder{false};  // set once the walk reads its inodes from the disk
    const int most = std::max(1, workers.most);
    WorkerGroup group(WORKER_STACK_BYTES, [&](int) {
        Worker worker(agg, queue, held, inodeOrder, most > 1);
        worker.run();
    });
    int running = group.growTo(std::clamp(workers.first, 1, most));
    // The count of reads from the disk is the process's: what it read before the walk is not the walk's.
    const std::optional<std::uint64_t> readAtStart = bytesReadFromDisk();
    std::uint64_t readBefore = readAtStart.value_or(0);
    auto checkedAt = std::chrono::steady_clock::now();
    std::chrono::nanoseconds usedBefore = processorTimeUsed();
    bool growing = running < most;
    while (readAtStart && (growing || !inodeOrder.load(std::memory_order_relaxed)) &&
           !queue.waitEnd(WALK_GROWTH_CHECK)) {
        const std::optional<std::uint64_t> readNow = bytesReadFromDisk();
        if (!readNow) break;
        const std::uint64_t read = *readNow - std::min(*readNow, readBefore);
        if (walkReadsDisk(read)) inodeOrder.store(true, std::memory_order_relaxed);
        const auto now = std::chrono::steady_clock::now();
        const std::chrono::nanoseconds usedNow = processorTimeUsed();
        const double busy = std::chrono::duration<double>(usedNow - usedBefore).count() /
                            std::max(1e-9, std::chrono::duration<double>(now - checkedAt).count());
        if (growing && walkWaitsOnDisk(read, busy, running, workers)) {
            const int wanted = grownWalkWorkers(running, workers);
            const int started = group.growTo(wanted);
            growing = started == wanted && started < most;  // the system may refuse more threads
            running = started;
        }
        readBefore = *readNow;
        checkedAt = now;
        usedBefore = usedNow;
    }
    group.join();
    return queue.cancelled() ? WalkEnd::cancelled : WalkEnd::finished;
}

}  // namespace kelvor
