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
    std::string when;      // ISO 8601 time of removal
    std::string action;
    std::string originalPath;
    std::string trashedTo;  // where it is now
    bool payloadPresent = false;
    std::optional<std::string> goneSeenAt;  // ISO 8601 time the item was first seen missing
    RecoveryKind kind = RecoveryKind::trashed;
};

// The command line shows at most this many rows.
inline constexpr std::size_t RECOVERY_LIST_LIMIT = 1000;

// The rows, most recent first, at most `limit`; `more` is set when older rows were left out.
std::vector<RestorableItem> recoveryItems(std::size_t limit, bool* more = nullptr);

// Gives every row whose item is missing the time it was first seen missing, remembered in
// "gone-seen.json" in the data folder (written only when a row is newly seen gone).
void stampGoneSeen(std::vector<RestorableItem>& rows);

// Puts the row's item back at its original place. None on success, else why not (in the current
// language). Never replaces what stands at the original place now.
std::optional<std::string> runRestore(const RestorableItem& item);

// What discarding one row did: its id, and why it was not discarded when it was not.
struct DiscardResult {
    std::string id;
    std::optional<std::string> error;
};

// Deletes each trashed row's entry from the Trash for good, only after the entry is proven to be
// the one Kelvor moved from that place, and records the discard in the row's undo record.
std::vector<DiscardResult> discardMany(const std::vector<RestorableItem>& rows);

}  // namespace kelvor
