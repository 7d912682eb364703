#pragma once
// The quarantine ledger's rows and their one-line JSON form. Pure: no file access.
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kelvor {

// One quarantined item.
struct QuarantineEntry {
    std::string originalPath;               // where the item was
    std::string quarantinePath;             // where it is held
    std::string owner;                      // the rule's owner
    std::string component;                  // the rule's component label
    std::uint64_t bytes = 0;                // size when quarantined
    std::string when;                       // ISO 8601 time it was quarantined
    bool released = false;                  // moved on to the Trash
    std::optional<std::string> releasedTo;  // its path in the Trash
    std::optional<std::string> releasedAt;
    bool restored = false;                  // brought back to its original place
    std::optional<bool> settled;            // release finished and checked
    std::optional<bool> recreated;          // the owner made the path again during observation
    std::optional<bool> pending;            // the move into quarantine is in progress
    std::optional<std::string> discardedAt; // the user discarded it for good
    std::optional<std::string> restoredTo;  // where it was restored, when not its original place
    std::string rawLine;                    // the ledger text it was read from; never written as a key

    // Still held: not released, restored or discarded.
    bool active() const { return !released && !restored && !discardedAt; }
    // Nothing left to do: restored, discarded, or released and settled.
    bool finished() const { return restored || discardedAt || (released && settled.value_or(false)); }
};

// The ledger's keys, in the order a row writes them.
inline constexpr std::array<std::string_view, 15> QUARANTINE_FIELDS = {
    "originalPath", "quarantinePath", "owner",    "component", "bytes",    "when",        "released",  "releasedTo",
    "releasedAt",   "restored",       "settled",  "recreated", "pending",  "discardedAt", "restoredTo",
};

// One entry as a single-line JSON object (optional keys only when set).
std::string ledgerLine(const QuarantineEntry& entry);

struct LedgerContents {
    std::vector<QuarantineEntry> entries;  // in file order, each with its rawLine
    std::vector<std::string> damaged;      // lines that are not a ledger row, unchanged
};

// Reads ledger text back; blank lines are skipped, every other unreadable line is kept.
LedgerContents ledgerLines(std::string_view text);

// The observation period for a stored "kelvor.quarantineDays": 1 to 30 as they are, anything
// else (or nothing) 7.
int quarantineDaysFrom(std::optional<std::int64_t> stored);

}  // namespace kelvor
