#pragma once
// kelvor_clean: the server chooses a plan from the catalogue scan, the person approves it, and a
// second call carrying only the plan's token removes exactly that list through the clean executor.
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "quillet/automation/operation.hpp"
#include "quillet/automation/plan_store.hpp"
#include "quillet/automation/tools.hpp"
#include "quillet/platform/procs.hpp"
#include "quillet/rules/hit.hpp"

namespace kelvor {

// What the planner chose from the hits.
struct TargetChoice {
    std::vector<PlanRow> targets;  // free to move now, largest first
    Json refused = Json::array();  // above the cap (level 4 always), with the level's refusal
    Json held = Json::array();     // within the cap but kept by a guard, with the reasons
    std::vector<std::string> missing;  // keys asked for that matched no hit
    std::uint64_t heldBytes = 0;
    // Owners whose running program alone holds rows, with the bytes closing them would release.
    std::map<std::string, std::uint64_t> heldByRunningOwner;
};

// Every hit at or below `cap` (narrowed to `keys` when any are given), passed through the guards
// now. Tier C and protected hits are never targets, whatever the cap.
TargetChoice chooseTargets(const std::vector<Hit>& hits, const std::vector<std::string>& keys, int cap,
                           ProcessTable& table = ProcessTable::real());

// The note on held rows for the assistant, or "" when nothing was held.
std::string capNote(const TargetChoice& choice);

// The instruction to the assistant that goes with a stored clean plan.
std::string planBriefing(const Plan& plan);

// The first call: scans, chooses, stores the plan in `store` and describes it.
ToolOutcome cleanPlanResponse(const std::vector<Hit>& hits, const std::vector<std::string>& keys,
                              std::int64_t maxLevel, Disposal disposal, PlanStore& store,
                              ProcessTable& table = ProcessTable::real());

// The second call: drops drifted rows, guards the rest again and moves them with an undo record
// first; for `delete` empties what moved to the Trash.
ToolOutcome cleanExecute(const Plan& plan, ProcessTable& table = ProcessTable::real());

// The second call of a planning tool: when `arguments` carry a plan_token, the plan it names run by
// `execute`, or the refusal answered when the token cannot be used; none without a token.
std::optional<ToolOutcome> runApprovedPlan(const Json& arguments, PlanStore& store, PlanKind kind,
                                           const std::string& tool,
                                           const std::function<ToolOutcome(const Plan&)>& execute);

// The tool body: a plan without plan_token, the execution with it.
ToolOutcome toolClean(const Json& arguments, OperationContext& context, PlanStore& store = PlanStore::shared());

// The JSON of one hit as the tools list it: key, owner, component, path, size, level, letters.
Json hitJson(const Hit& hit);

}  // namespace kelvor
