#include "quillet/automation/tool_scan.hpp"

#include <algorithm>
#include <optional>
#include <thread>

#include "quillet/scan/measure.hpp"

namespace kelvor {

ToolScan scanForTool(OperationContext& context, std::chrono::milliseconds budget) {
    using SteadyClock = std::chrono::steady_clock;
    const SteadyClock::time_point deadline = SteadyClock::now() + budget;
    auto measure = [&](const std::string& path, int workers) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - SteadyClock::now());
        if (context.cancelled()) left = std::chrono::milliseconds(0);
        left = std::min(left, std::chrono::duration_cast<std::chrono::milliseconds>(STORE_MEASURE_LIMIT));
        return measureTree(path, workers, left);
    };
    // Clients handle notifications a turn later than answers and drop progress that arrives after
    // the answer with an error, so reports are spaced out and the answer never follows one closely.
    std::optional<SteadyClock::time_point> lastReport;
    HitCallbacks callbacks;
    callbacks.onMeasured = [&](const MeasureProgress& step) {
        const SteadyClock::time_point now = SteadyClock::now();
        if (lastReport && now - *lastReport < PROGRESS_SPACING) return;
        lastReport = now;
        context.report(static_cast<double>(step.storesDone), static_cast<double>(step.storesTotal),
                       "measured " + std::to_string(step.storesDone) + " of " + std::to_string(step.storesTotal) +
                           " stores");
    };
    ToolScan scan;
    scan.hits = collectHitsFrom(resolvedRules(), context.threads(), callbacks, measure);
    if (lastReport) {
        const SteadyClock::duration since = SteadyClock::now() - *lastReport;
        if (since < PROGRESS_QUIET_BEFORE_ANSWER) std::this_thread::sleep_for(PROGRESS_QUIET_BEFORE_ANSWER - since);
    }
    for (const Hit& hit : scan.hits)
        if (hit.stat.timedOut) scan.didNotAnswer.push_back(hit.path);
    return scan;
}

}  // namespace kelvor
