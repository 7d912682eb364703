#include "quillet/automation/plan_drift.hpp"

namespace kelvor {

PlanDrift planDrift(const std::vector<PlanRow>& rows, FileOps& files) {
    PlanDrift drift;
    for (const PlanRow& row : rows) {
        Result<PathIdentity> now = files.identity(row.hit.path);
        if (!now && now.error().kind == ErrorKind::notFound) {
            drift.dropped.push_back({row, DRIFT_GONE});
            continue;
        }
        // An identity that cannot be read proves nothing, so it counts as changed.
        if (!now || !row.identity || !(*now == *row.identity)) {
            drift.dropped.push_back({row, DRIFT_REPLACED});
            continue;
        }
        drift.unchanged.push_back(row);
    }
    return drift;
}

}  // namespace kelvor
