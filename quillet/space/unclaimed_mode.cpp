#include "quillet/space/unclaimed_mode.hpp"

#include <cstdio>

#include "quillet/space/unclaimed_report.hpp"

namespace kelvor {

int runUnclaimed(int threads, std::int64_t minMB) {
    const std::uint64_t minBytes = static_cast<std::uint64_t>(minMB) * 1048576;
    UnclaimedSurvey survey = surveyUnclaimed(threads, minBytes);
    std::vector<UnclaimedReportRow> rows;
    for (UnclaimedEntry& entry : survey.rows) {
        std::vector<DrillRow> drill = drillUnclaimed(entry, survey.hits, minBytes, survey.folders, DRILL_DEPTH);
        rows.push_back({std::move(entry), std::move(drill)});
    }
    std::fputs(renderUnclaimed(rows, minMB, !survey.unreadableRoots.empty()).c_str(), stdout);
    if (!survey.unreadableRoots.empty()) {
        std::fputs("\n", stdout);
        printUnreadable(survey.unreadableRoots);
    }
    return 0;
}

int runUnclaimedMode(const Settings& settings) {
    return runUnclaimed(settings.threads, settings.minMB > 0 ? settings.minMB : UNCLAIMED_DEFAULT_MIN_MB);
}

}  // namespace kelvor
