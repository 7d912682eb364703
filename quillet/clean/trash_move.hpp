#pragma once
// Moving an item to the Trash so that it can always be taken back, and checking every request to
// delete an entry from the Trash for good against the mark the move left.
#include <cstdint>
#include <optional>
#include <string>

#include "quillet/platform/time_stamps.hpp"
#include "quillet/platform/fsops.hpp"

namespace kelvor {

// A move or discard that was not done, with the sentence that says why; the item is untouched.
struct RemovalRefusal {
    std::string message;
    const std::string& describe() const { return message; }
};

// Whether the run's undo record was written before this move.
enum class UndoRecord { written, missing };

struct TrashOutcome {
    std::string destination;                // the item's path in the Trash, when it moved
    std::optional<RemovalRefusal> refusal;  // set when it did not
    bool moved() const { return !refusal; }
};

// Moves `path` (measured at `bytes` with `identity`) to the Trash of its own file system and marks
// it. Refuses paths inside Kelvor's data folder, a run without its undo record, the sealed system
// volume, an item that is gone or is not the one measured; a failed move is a refusal carrying
// the OS's reason. The move itself goes through `ops`.
TrashOutcome trashItem(const std::string& path, std::uint64_t bytes, const PathIdentity& identity,
                       UndoRecord undo, WallClock::time_point now = WallClock::now(),
                       FileOps& ops = FileOps::real());

// True when `path` lies inside Kelvor's data folder (or is it).
bool insideDataFolder(const std::string& path);

// True when `path` (its folders' links resolved) is an entry below one of the Trash folders.
bool insideAnyTrash(const std::string& path);

// True when the entry at `path` can be examined (a denied read is a denied answer).
bool canReadTrash(const std::string& path);

// True when the OS's put-back record for the entry `path` names `cameFrom` (compared with the
// macOS data-volume prefix removed).
bool finderRecordSays(const std::string& cameFrom, const std::string& path);

struct DiscardCheck {
    std::string realPath;                   // the entry to delete, its folders' links resolved
    std::optional<RemovalRefusal> refusal;  // set when it must not be deleted
};

// May the Trash entry `path`, recorded as moved from `expectedOriginal`, be deleted for good?
// Only when it is inside a Trash, readable, carries Kelvor's mark for that same origin, and the
// Trash's own record for that spot still names it.
DiscardCheck verifyDiscard(const std::string& path, const std::string& expectedOriginal);

}  // namespace kelvor
