#pragma once
// Has anything in an approved plan changed on disk since the person saw it? Rows whose path is
// gone or now names another object are dropped from the execution and reported.
#include <string>
#include <vector>

#include "quillet/automation/plan_store.hpp"
#include "quillet/platform/fsops.hpp"

namespace kelvor {

inline constexpr const char* DRIFT_GONE = "it is no longer there — nothing was removed for this row";
inline constexpr const char* DRIFT_REPLACED =
    "it is not the same folder any more (it was replaced or moved since the plan was made)";

struct DroppedRow {
    PlanRow row;
    std::string reason;
};

struct PlanDrift {
    std::vector<PlanRow> unchanged;  // still what the plan measured, in plan order
    std::vector<DroppedRow> dropped;
};

// Compares each row's recorded identity with what its path names now (a link is not followed).
PlanDrift planDrift(const std::vector<PlanRow>& rows, FileOps& files = FileOps::real());

}  // namespace kelvor
