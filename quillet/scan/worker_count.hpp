#pragma once
// How many workers a walk starts when none is asked for.
//
// A first walk of the day finds little in the cache: each worker spends most of its time asleep in
// the kernel while an inode or a directory block is read from the disk, and more workers keep more
// reads in flight (on a cold 300k-file tree, 16 workers on two processors take 1.3 s where two
// take 2.0 s). On a warm cache the extra workers simply wait for a processor: a folder is a long
// piece of work, so they seldom contend, and the walk runs as fast as with one per processor.
namespace kelvor {

// Workers per processor online, and the most a default ever starts.
inline constexpr int WALK_WORKERS_PER_PROCESSOR = 8;
inline constexpr int WALK_WORKERS_MOST = 32;

// The default number of walk workers on a machine with `processors` online (anything below 1 is
// taken as 1): more than the processors, at most WALK_WORKERS_MOST unless there are more processors
// than that. `--threads` overrides it exactly.
int defaultWalkWorkers(int processors);

}  // namespace kelvor
