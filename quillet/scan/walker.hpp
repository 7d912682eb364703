#pragma once
// The bulk walker: a fixed pool of workers over one shared work queue, each reading whole
// directories with readDirBulk and adding allocated bytes per bucket into an aggregate.
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "quillet/scan/agg.hpp"
#include "quillet/scan/worker_count.hpp"

namespace kelvor {

// The buffer each reader hands to the bulk directory call, reused across directories.
inline constexpr std::size_t BUF_SIZE = 262144;
// Entries a worker handles between two flushes into the aggregate.
inline constexpr unsigned FLUSH_EVERY = 1024;
// Each worker's stack.
inline constexpr std::size_t WORKER_STACK_BYTES = 1048576;
// Regular files a worker names in one batch of a folder's listing. A folder with more hands its
// batches to the other workers, which describe the names relative to the folder's open descriptor.
inline constexpr std::size_t SHARED_BATCH_NAMES = 2048;
// Batches of one folder waiting for another worker at most; beyond, the reader describes its next
// batch itself, so a folder of millions of entries holds a bounded number of names in memory.
inline constexpr int SHARED_BATCHES_WAITING = 16;
// Consumed items at the front of a breadth-first queue before it may be compacted.
inline constexpr std::size_t QUEUE_COMPACT_AT = 4096;

// An open folder kept for the folders found in it, so they are opened relative to it.
struct HeldDir;

// Open folders the walker keeps at most for their children before it opens by path instead; well
// under the usual limit of 1024 descriptors, whatever the depth of the tree.
inline constexpr int HELD_DIR_LIMIT = 256;

// A directory still to read, and the bucket its bytes count towards; or, when `names` is not
// empty, a batch of the regular files of the folder `anchor` to describe and count.
struct WorkItem {
    std::string path;
    int bucket = 0;
    std::shared_ptr<const HeldDir> anchor{};  // an open folder above it; none: open by path
    std::size_t anchorLength = 0;             // the length of anchor's path, a prefix of `path`
    std::string names{};                      // files inside anchor: each an 8-byte inode number, a name, a NUL
};

enum class QueueOrder {
    depthFirst,    // last in, first out: keeps the list short
    breadthFirst,  // first in, first out
};

using Deadline = std::chrono::steady_clock::time_point;

// The work list shared by all workers. Reaches done exactly once: when no worker holds an item and
// none is waiting.
class WorkQueue {
public:
    // A queue holding `seeds`; when a deadline is given, the queue cancels itself once it has passed.
    WorkQueue(std::vector<WorkItem> seeds, QueueOrder order, std::optional<Deadline> deadline = std::nullopt);

    // The next item, which the caller then holds until finish(); none when the walk is done or
    // cancelled. Waits while other workers may still push items.
    std::optional<WorkItem> pop();

    // Adds `pushing` (moved out) while the caller still holds its item.
    void push(std::vector<WorkItem>& pushing);

    // Hands back the held item, adding the directories found in it (moved out of `pushing`).
    void finish(std::vector<WorkItem>& pushing);

    // Makes every pop() return none from its next check on.
    void cancel();

    // Waits at most `longest` for the walk to be done or cancelled; true when it is.
    bool waitEnd(std::chrono::milliseconds longest);

    bool cancelled() const;
    bool done() const;
    // Items held in storage, consumed ones at the front of a breadth-first list included.
    std::size_t stored() const;

private:
    bool available() const;  // with lock_ held
    bool pastDeadline();     // with lock_ held; cancels when it has passed
    void end();              // with lock_ held: done, and every waiter woken

    mutable std::mutex lock_;
    std::condition_variable cond_;
    std::condition_variable ended_;  // wakes waitEnd(), apart from the many wake-ups of cond_
    std::vector<WorkItem> stack_;
    std::size_t head_ = 0;
    const QueueOrder order_;
    const std::optional<Deadline> deadline_;
    int busy_ = 0;
    bool done_ = false;
    bool cancelled_ = false;
};

enum class WalkEnd { finished, cancelled };

// Walks every tree in `seeds` with `threads` workers (at least 1, each on a WORKER_STACK_BYTES
// stack), adding into `agg`: regular files' allocated bytes per bucket (a multiply-linked file
// once per device and inode, in the bucket met first), files, dirs, errors and denied. Symbolic
// links are never followed or measured: a folder is opened relative to its parent's descriptor
// and never through a link, so one swapped for a link during the walk is skipped, and trees
// deeper than the longest path the system accepts are measured whole. Returns when every worker has ended; cancelled when the deadline passed
// before the walk was done.
WalkEnd scanBulk(int threads, Agg& agg, std::vector<WorkItem> seeds, QueueOrder order,
                 std::optional<Deadline> deadline = std::nullopt);

// The same walk with `workers.first` workers from the start and, while the walk finds itself
// reading from the disk with processors to spare (checked every WALK_GROWTH_CHECK), twice as many
// each time up to `workers.most`. Once it reads from the disk, it looks files up in inode order.
WalkEnd scanBulk(const WalkWorkers& workers, Agg& agg, std::vector<WorkItem> seeds, QueueOrder order,
                 std::optional<Deadline> deadline = std::nullopt);

// Adds one listed file to a batch of a folder's files: its inode number (8 bytes), its name, a NUL.
void appendToBatch(std::string& batch, std::uint64_t inode, const std::string& name);

// The files of `batch` (inode number and name, pointing into `batch`) into `names`: in the order
// they were added, or by inode number when `byInode`.
void namesOfBatch(const std::string& batch, bool byInode, std::vector<std::pair<std::uint64_t, const char*>>& names);

// `folder` + "/" + `name`, without doubling the slash of "/".
std::string childPath(const std::string& folder, const std::string& name);

}  // namespace kelvor
