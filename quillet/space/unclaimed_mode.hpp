#pragma once
// `kelvor --mode unclaimed`: the large trees in the home folder that no rule accounts for.
#include <cstdint>

#include "quillet/main/settings.hpp"

namespace kelvor {

// The floor used when --min-mb is 0 or less.
inline constexpr int UNCLAIMED_DEFAULT_MIN_MB = 50;

// Surveys the home folder with `threads` workers and prints the trees whose unclaimed remainder
// is at least `minMB` MiB, each with the sub-folders that hold it, then the roots that could not
// be listed. Removes nothing; returns 0.
int runUnclaimed(int threads, std::int64_t minMB);

// The mode table's entry: --min-mb passed on when above 0, else UNCLAIMED_DEFAULT_MIN_MB.
int runUnclaimedMode(const Settings& settings);

}  // namespace kelvor
