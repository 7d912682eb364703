#pragma once
// The scan-speed harness: each walker over the same buckets, one report each.
#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "quillet/main/settings.hpp"

namespace kelvor {

// "fm" (the standard library's iterator, one thread), "bulk" (one worker), "par" (all workers,
// depth first) and "bfs" (all workers, breadth first).
inline constexpr std::array<std::string_view, 4> SCAN_SPEED_MODES = {"fm", "bulk", "par", "bfs"};

// Walks settings.root once per name in `walkers`, in order, printing a report for each; returns 0.
int runScanSpeed(const Settings& settings, const std::vector<std::string>& walkers);

}  // namespace kelvor
