#pragma once
// `kelvor --mode exclude`: the exclusion list on the command line.
#include "quillet/main/settings.hpp"

namespace kelvor {

// Without --path lists the exclusions; with --path adds that existing path, or with --force
// removes it. Returns 0, or 1 when the path does not exist, the list cannot be read or saving fails.
int runExclude(const Settings& settings);

}  // namespace kelvor
