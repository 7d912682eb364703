#pragma once
// The scan-speed harness: each walker over the same buckets, one report each.
#include <string>
#include <vector>

#include "quillet/main/settings.hpp"

namespace kelvor {

// The walkers the harness can time.
enum class Walker {
    fileManager,   // the standard library's iterator, one thread
    bulk,          // bulk directory reads on one worker
    parallel,      // bulk reads on every worker, depth first
    breadthFirst,  // bulk reads on every worker, breadth first
};

// One walker to time, under the name its report carries.
struct WalkerRun {
    std::string name;
    Walker walker;
};

// Walks settings.root once per entry of `walkers`, in order, printing a report for each; returns 0.
int runScanSpeed(const Settings& settings, const std::vector<WalkerRun>& walkers);

}  // namespace kelvor
