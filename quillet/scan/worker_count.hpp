#pragma once
// How many workers a walk runs when none is asked for.
//
// On a warm cache a walk is bound by the processors: one worker each is as fast as any number, and
// extra ones only cost memory and switches. A first walk of the day finds little in the cache:
// each worker spends most of its time asleep in the kernel while an inode or a directory block is
// read from the disk, and more workers keep more reads in flight (on a cold 300k-file tree, 16
// workers on two processors take 1.3 s where two take 2.0 s). So a walk starts with one worker per
// processor and adds more while it sees itself reading from the disk.
#include <chrono>
#include <cstdint>

namespace kelvor {

// Workers per processor online, and the most a default ever starts.
inline constexpr int WALK_WORKERS_PER_PROCESSOR = 8;
inline constexpr int WALK_WORKERS_MOST = 32;

// How often a growing walk looks at its reads from the disk.
inline constexpr std::chrono::milliseconds WALK_GROWTH_CHECK{5};
// The share of its processors a walk may keep busy and still be waiting on the disk.
inline constexpr double WALK_BUSY_SHARE = 0.9;
// Bytes read from the disk between two checks that show a walk waiting on it. A cold walk reads a
// megabyte or more of inode and directory blocks every check; a warm one now and then reads a
// block or two the system had dropped from its cache, which more workers would not speed up.
inline constexpr std::uint64_t WALK_DISK_READ_LEAST = 256 * 1024;

// The workers of one walk: `first` from its start, and more, up to `most`, while it waits on the
// disk. Equal counts run exactly that many.
struct WalkWorkers {
    int first = 1;
    int most = 1;
    bool operator==(const WalkWorkers&) const = default;
};

// The default number of walk workers on a machine with `processors` online (anything below 1 is
// taken as 1): more than the processors, at most WALK_WORKERS_MOST unless there are more processors
// than that. `--threads` overrides it exactly.
int defaultWalkWorkers(int processors);

// The default walk: one worker per processor, growing to defaultWalkWorkers(processors).
WalkWorkers growingWalkWorkers(int processors);

// Exactly `count` workers (at least 1), as `--threads` asks.
WalkWorkers exactWalkWorkers(int count);

// The count after one more check that found the walk reading from the disk: twice as many, never
// beyond `workers.most`.
int grownWalkWorkers(int running, const WalkWorkers& workers);

// Whether `bytesRead` between two checks shows a walk reading from the disk in earnest.
bool walkReadsDisk(std::uint64_t bytesRead);

// Whether a growing walk adds workers after a check: it read at least WALK_DISK_READ_LEAST from
// the disk since the last one (`bytesRead`) and kept fewer than WALK_BUSY_SHARE of its processors
// busy (`processorsBusy`: processor time over wall time). A walk with every processor busy gains
// nothing from more workers, even when some reads reached the disk; they would only take turns.
// `workers.first` is the processors of a growing walk.
bool walkWaitsOnDisk(std::uint64_t bytesRead, double processorsBusy, int running, const WalkWorkers& workers);

}  // namespace kelvor
