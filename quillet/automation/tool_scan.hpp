#pragma once
// The catalogue scan as the automation tools run it: measured hits, progress reported to the
// client store by store, and one time budget for the whole scan so that an answer arrives before
// the assistant's client gives up waiting.
#include <chrono>
#include <string>
#include <vector>

#include "quillet/automation/operation.hpp"
#include "quillet/rules/hits.hpp"

namespace kelvor {

// Official clients stop waiting after 60 seconds; the rest is left for guards and the answer.
inline constexpr std::chrono::seconds TOOL_SCAN_BUDGET{40};

// At most one progress report per this span, and this long between the last report and the end.
inline constexpr std::chrono::milliseconds PROGRESS_SPACING{200};
inline constexpr std::chrono::milliseconds PROGRESS_QUIET_BEFORE_ANSWER{100};

struct ToolScan {
    std::vector<Hit> hits;
    std::vector<std::string> didNotAnswer;  // stores whose measurement ran out of time: partial sizes
};

// Measures every store of the catalogue within `budget` in all, reporting progress at the first
// store and then at most every PROGRESS_SPACING. A store still being measured when
// the budget runs out, or after the request was cancelled, keeps what was counted and is listed in
// didNotAnswer.
ToolScan scanForTool(OperationContext& context, std::chrono::milliseconds budget = TOOL_SCAN_BUDGET);

}  // namespace kelvor
