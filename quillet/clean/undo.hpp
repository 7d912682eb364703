#pragma once
// Taking a clean back: reads an undo record and brings its items home one by one, refusing
// wherever bringing one back could overwrite something or land in the wrong place.
#include <optional>
#include <string>
#include <vector>

#include "quillet/platform/fsops.hpp"

namespace kelvor {

struct UndoOutcome {
    int restored = 0;
    int missing = 0;   // gone from where the record says (the Trash was emptied)
    int occupied = 0;  // something already sits at the original place
    int failed = 0;    // refused or failed for another reason
    std::optional<std::string> manifest;  // the record used
    bool couldNotLookInTrash = false;
    std::optional<std::string> usedOlderRecord;  // the newest could not be read: this one was used
    bool couldNotLockRecord = false;
    std::vector<std::string> beside;  // restored beside an occupant
    bool retired = false;             // every row is back: the record now ends ".done.json"
    std::vector<std::string> lines;   // what to show, in order, already in the person's language

    // True when every item that could be taken back came back.
    bool complete() const;
};

// The open records of the undo folder (".json", not ".done.json"), newest first, and then the
// retired ones, newest first.
std::vector<std::string> undoRecordsNewestFirst();

// Takes back the record named by `target`: "last" or a path.
UndoOutcome runUndo(const std::string& target, FileOps& files = FileOps::real());

}  // namespace kelvor
