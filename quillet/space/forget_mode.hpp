#pragma once
// `kelvor --mode forget [--apply]`: clear what Kelvor keeps about itself.
#include "quillet/main/settings.hpp"

namespace kelvor {

// Lists the forgettable items and the kept entries; with --apply deletes the items. Returns 0, or
// 1 when a file could not be deleted.
int runForget(const Settings& settings);

}  // namespace kelvor
