#pragma once
// The words of the unclaimed-space report, rendered to text so that the mode prints and tests read
// the same thing.
#include <cstdint>
#include <string>
#include <vector>

#include "quillet/space/unclaimed_drill.hpp"
#include "quillet/space/unclaimed_survey.hpp"

namespace kelvor {

// One kept entry and the sub-folders its drill named.
struct UnclaimedReportRow {
    UnclaimedEntry entry;
    std::vector<DrillRow> drill;
};

// The report in the current language: the heading, each row (partial and claimed notes, drilled
// sub-folders), the total or the "nothing over N MB" line (worded for what could be read when
// `someUnreadable`), and the closing lines. Paths are escaped for printing.
std::string renderUnclaimed(const std::vector<UnclaimedReportRow>& rows, std::int64_t minMB, bool someUnreadable);

// The roots that exist but could not be listed, or "" when there are none.
std::string renderUnreadable(const std::vector<std::string>& roots);

// Prints renderUnreadable(roots) to standard output.
void printUnreadable(const std::vector<std::string>& roots);

}  // namespace kelvor
