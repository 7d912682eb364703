#pragma once
// The support documents: the catalog as a Markdown matrix and as JSON. Both run before any
// start-up housekeeping and change nothing.
#include "quillet/main/settings.hpp"

namespace kelvor {

// Prints the support matrix in English; exit status 0.
int runSupportMatrix(const Settings& settings);

// Prints the catalog as one JSON document; exit status 0.
int runSupportJson(const Settings& settings);

}  // namespace kelvor
