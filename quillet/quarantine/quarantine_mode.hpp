#pragma once
// `kelvor --mode quarantine`: the ledger report, or with `--undo` a restore.
#include "quillet/platform/time_stamps.hpp"
#include "quillet/main/settings.hpp"

namespace kelvor {

// Prints the report of what is held, what is damaged or orphaned, and the release history.
void runQuarantineReport(WallClock::time_point now = WallClock::now());

// The mode: with --undo restores the most recent entry ("last") or the one held at the given
// path; without it prints the report. 0, or 1 when a restore failed.
int runQuarantine(const Settings& settings);

}  // namespace kelvor
