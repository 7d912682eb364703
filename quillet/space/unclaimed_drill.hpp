#pragma once
// Where a tree's unclaimed bytes sit: its sub-folders that carry the remainder.
#include <cstdint>
#include <string>
#include <vector>

#include "quillet/rules/hit.hpp"
#include "quillet/space/unclaimed_survey.hpp"

namespace kelvor {

// At most this many sub-folders are named per folder: the largest, enough to say where to look.
inline constexpr size_t DRILL_WIDTH = 5;

struct DrillRow {
    std::string path;
    std::uint64_t unclaimed = 0;  // bytes below the folder that no hit accounts for
    int level = 1;                // 1 for a child of the entry, 2 for a grandchild, ...
};

// The sub-folders of `entry`, down to `depth` levels, whose unclaimed bytes are at least
// `minBytes`, from the sizes the survey already measured (nothing is read again). Each folder is
// followed by its own qualifying sub-folders; siblings come largest first, DRILL_WIDTH at most.
std::vector<DrillRow> drillUnclaimed(const UnclaimedEntry& entry, const std::vector<Hit>& hits,
                                     std::uint64_t minBytes, const FolderSizes& folders, int depth);

}  // namespace kelvor
