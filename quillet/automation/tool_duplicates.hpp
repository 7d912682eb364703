#pragma once
// The duplicate report an assistant reads (kelvor_duplicates): byte-identical model files across
// Ollama, the HuggingFace hub and loose files under the scan root, each group with the copy that
// would stay and what removing the rest would free. It reports; it moves nothing.
#include <cstdint>
#include <string>

#include "quillet/automation/operation.hpp"
#include "quillet/automation/protocol.hpp"

namespace kelvor {

// The report over `root`, counting files of at least `minMB` megabytes (MiB, as the command
// line's --min-mb counts them). Progress goes to `context` between the finder's steps; a
// cancelled request stops before the next step.
Json duplicatesReport(const std::string& root, double minMB, OperationContext& context);

// The same over this run's scan root (the home folder unless --root says otherwise).
Json toolDuplicates(double minMB, OperationContext& context);

}  // namespace kelvor
