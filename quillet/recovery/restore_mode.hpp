#pragma once
// `kelvor --mode restore`: the restore centre on the command line.
#include "quillet/main/settings.hpp"

namespace kelvor {

// Without --path lists the rows, numbered; with --path <number or name fragment> restores that
// one row, and with --discard as well empties that row for good. Returns 0, 1 when the restore or
// the discard failed, 2 when --path names no row or several, or --discard comes without --path.
int runRestoreCentre(const Settings& settings);

}  // namespace kelvor
