#pragma once
// Measuring one tree with the bulk walker, for rule hits and every later check of their sizes.
#include <chrono>
#include <cstdint>
#include <string>

namespace kelvor {

// The measurement of one tree.
struct TreeStat {
    std::uint64_t bytes = 0;   // allocated bytes of regular files, each file (inode) once
    std::uint64_t files = 0;   // regular files met, every link counted
    std::uint64_t denied = 0;  // folders or entries that could not be read
    bool timedOut = false;     // the walk was stopped at its time limit; the rest is partial
    bool gated = false;        // a mark for the measurement's caller; measureTree leaves it false
    std::uint64_t shared = 0;  // allocated bytes of files that also have links outside the tree
};

// Measures the tree at `path` with `threads` workers, never following a symbolic link (a `path`
// that is itself a link measures nothing). A regular file measures that file alone; a path that
// does not exist gives an all-zero stat. A walk still running after `timeLimit` is stopped between
// two folders and returns what it counted, with timedOut set; a limit of 0 or less stops it before
// it starts.
TreeStat measureTree(const std::string& path, int threads, std::chrono::milliseconds timeLimit);

}  // namespace kelvor
