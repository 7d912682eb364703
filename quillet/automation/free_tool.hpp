#pragma once
// kelvor_free: empties, on a second approved call, the Trash rows that earlier runs of Kelvor moved
// there. Whatever else is in the Trash is never a candidate.
#include <string>
#include <vector>

#include "quillet/automation/operation.hpp"
#include "quillet/automation/plan_store.hpp"
#include "quillet/automation/tools.hpp"
#include "quillet/recovery/restorable.hpp"

namespace kelvor {

// The short id a row is known by in a free plan: stable for the same row.
std::string freeRowId(const RestorableItem& item);

// The first call: the rows of `rows` that Kelvor moved to the Trash and that are still there,
// narrowed to `ids` when any are given, stored as a plan in `store`.
ToolOutcome freePlanResponse(const std::vector<RestorableItem>& rows, const std::vector<std::string>& ids,
                             PlanStore& store);

// The second call: empties exactly the planned rows.
ToolOutcome freeExecute(const Plan& plan);

ToolOutcome toolFree(const Json& arguments, OperationContext& context, PlanStore& store = PlanStore::shared());

}  // namespace kelvor
