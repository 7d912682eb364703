#pragma once
// The duplicate finder as a command: the report, and with --apply the redundant copies moved to
// the Trash (loose copies) or replaced by clones of the kept copy (store copies, with --dedupe).
#include <cstdint>
#include <string>
#include <vector>

#include "quillet/dupes/model_copy.hpp"

namespace kelvor {

struct Settings;

enum class Dedupe { no, yes };
enum class GuardMode { check, force };

// What applying the groups did, with every line to print in order.
struct DupesApplied {
    std::vector<std::string> lines;
    int trashed = 0;
    int cloned = 0;
    bool recordUnwritable = false;
};

// Applies `groups` (as the finder returned them): each group checked against its recorded
// identities and its keeper's digest, each redundant copy against the guards, the undo record
// written before the first move.
DupesApplied applyDupes(const std::vector<DupeGroup>& groups, Dedupe dedupe, GuardMode guards);

// `kelvor --mode dupes`: prints the report (and applies with --apply); the exit status.
int runDupes(const Settings& settings);

}  // namespace kelvor
