#pragma once
// kelvor_overview and kelvor_items: what the catalogue scan found, by owner, tier and level, for
// an assistant to read. Neither changes anything.
#include <optional>
#include <string>
#include <vector>

#include "quillet/automation/operation.hpp"
#include "quillet/automation/tool_scan.hpp"
#include "quillet/automation/tools.hpp"

namespace kelvor {

// The overview of a finished scan: tier totals, the level ladder, reclaimable space, the largest
// owners and the stores that did not answer in time.
Json overviewPayload(const ToolScan& scan);

// The hits of `scan` at least `minMB` megabytes (decimal) large, of `tier` when given ("A", "B",
// "C", "!", or the screen letters "R", "I", "P", case ignored), largest first. An unknown tier
// filter is a tool error that lists the accepted ones.
ToolOutcome itemsPayload(const ToolScan& scan, const std::optional<std::string>& tier, double minMB);

ToolOutcome toolOverview(const Json& arguments, OperationContext& context);
ToolOutcome toolItems(const Json& arguments, OperationContext& context);

}  // namespace kelvor
