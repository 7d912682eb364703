#pragma once
// The restore centre's one list: every item Kelvor removed that still has a recorded way back,
// built from the undo records and the quarantine ledger, and putting one row back.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kelvor {

// How an item can come back.
enum class RecoveryKind { quarantined, trashed, refetch };

// "Quarantined", "In Trash", "Gone", in the current language.
std::string recoveryLabel(RecoveryKind kind);
// The way back, in the current language.
std::string recoveryHowBack(RecoveryKind kind);

struct RestorableItem {
    std::string id;        // unique within the list: the record (or ledger) and the item's path
    std::string manifest;  // the undo record or the ledger the row comes from
    std::string owner;
    std::string component;
    std::uint64_t bytes = 0;
    std::string when;                  // ISO 8601 time of removal
    std::vector<std::string> command;  // the recorded command that brings it back, as argv
    std::string action;                // the record's action: "trash", "quarantine", a tool's action
    std::string originalPath;
    std::string trashedTo;    // where it is now (the Trash entry, or the held copy in quarantine)
    std::string stampOrigin;  // the origin the moved mark on `trashedTo` names; "" without a mark
    bool payloadPresent = false;
    std::optional<bool> backNow;  // known when the item is missing here: whether it is back in place
    int folded = 0;               // older rows of the same origin folded into this one
    std::optional<std::string> goneSeenAt;  // ISO 8601 time the item was first seen missing
    RecoveryKind kind = RecoveryKind::trashed;
    std::optional<std::string> releasedAt;  // ISO 8601 time it left quarantine for the Trash
    std::string ruleTier;
    bool ruleVerified = false;
    std::optional<int> daysLeft;         // days of observation left, for held items
    std::optional<std::string> goneAt;   // ISO 8601 time it left for good (discarded, or removed by a tool)
    bool originTaken = false;            // something stands at the original path now
    bool foreignOwner = false;           // the copy kept here belongs to another user (root, mostly)
    std::string heldAt;                  // the quarantine path, for rows the quarantine ledger keeps
    std::string recordRow;               // the "trashedTo" naming the row in its undo record
    std::string originalParentID;        // the recorded identity of the folder it came out of

    bool isBack() const { return backNow.value_or(false); }
    // The way back of this row, in the current language (with the days this item has left).
    std::string howItComesBack() const;
    // `command` as one line, each word that needs it in single quotes.
    std::string commandLine() const;
    // The held copy's path for a row the quarantine ledger keeps, "" for others.
    std::string quarantineKey() const;
    // Emptying it loses nothing that cannot come back: it is in the Trash and a command, the owner
    // tool or a verified re-download or rebuild brings it back.
    bool safeToDiscard() const;
    // Only an administrator can empty the copy kept here.
    bool adminOwned() const;
    // The owner tool made the path again since the removal: the copy cannot go back in place.
    bool rebuiltAtOrigin() const;
    // The day ("YYYY-MM-DD") it left for good, was first seen gone, entered quarantine, reached
    // the Trash, or left its place (stageDate); "" when it does not apply.
    std::string goneDate() const;
    std::string stageDate() const;
    std::string quarantineDate() const;
    std::string trashDate() const;
};

// The command line shows at most this many rows.
inline constexpr std::size_t RECOVERY_LIST_LIMIT = 1000;

// The rows, most recent first, at most `limit`; `more` is set when older rows were left out.
std::vector<RestorableItem> recoveryItems(std::size_t limit, bool* more = nullptr);
// Every row, for the views.
std::vector<RestorableItem> restorableItems();

// Folds rows of the same origin and kind into the first of them (the list is newest first): the
// newest stays, counting the others in `folded`. Held items are never folded: each is a copy
// that still takes room.
std::vector<RestorableItem> foldSameOrigin(std::vector<RestorableItem> rows);

// Gives every row whose item is missing the time it was first seen missing, remembered in
// "gone-seen.json" in the data folder (written only when a row is newly seen gone).
void stampGoneSeen(std::vector<RestorableItem>& rows);

// Why a restore did not happen, as a fact the advice is chosen by.
enum class RestoreProblem {
    notInTrash,      // emptied from the Trash or otherwise gone from where it was kept
    placeTaken,      // something stands at the original place
    notOurEntry,     // the Trash entry is not the one moved there
    notHeld,         // the quarantine no longer holds it
    noCommand,       // nothing recorded brings it back
    commandRefused,  // the recorded command is not one Kelvor runs
    notInstalled,    // the tool of the recorded command is not installed
    couldNotStart,
    commandFailed,
    nothingBack,     // the command ran but nothing is back at the original place
    other,
};

struct RestoreFailure {
    RestoreProblem problem = RestoreProblem::other;
    std::string text;  // in the current language
};

// Puts the row's item back: undoes the move from the Trash, restores from quarantine (also after
// release), or runs the recorded command after validRestoreCmd accepts it. Never replaces what
// stands at the original place now.
std::optional<RestoreFailure> restoreItem(const RestorableItem& item);
// The same, as the failure's text only.
std::optional<std::string> runRestore(const RestorableItem& item);

// What the person can do about a failed restore, in the current language.
std::string explainRestoreFailure(const RestorableItem& item, RestoreProblem problem);

// What discarding one row did: its id, and why it was not discarded when it was not.
struct DiscardResult {
    std::string id;
    std::optional<std::string> error;
};

// Deletes each row's copy for good — a Trash entry only after it is proven to be the one Kelvor
// moved from that place, a held copy from quarantine — and records the discard.
std::vector<DiscardResult> discardMany(const std::vector<RestorableItem>& rows);

// Records that the row's copy was discarded, so it leaves the list (and keeps its command, if any).
void markDiscarded(const RestorableItem& item);

}  // namespace kelvor
