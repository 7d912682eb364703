#pragma once
// The quarantine: a holding folder for items whose removal is not proven harmless, with a ledger
// row per item. Items wait QUARANTINE_DAYS() and are then released to the Trash; until then they
// can be restored in place. Every ledger change happens under the ledger lock.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "quillet/platform/time_stamps.hpp"
#include "quillet/platform/fsops.hpp"
#include "quillet/platform/result.hpp"
#include "quillet/quarantine/ledger.hpp"
#include "quillet/records/file_lock.hpp"

namespace kelvor {

// "~/.kelvor/quarantine" and the files in it. (Functions: the home folder is read at call time.)
std::string QUARANTINE_DIR();
std::string LEDGER_PATH();
std::string LEDGER_ARCHIVE_PATH();

// The observation period in days, from the user default "kelvor.quarantineDays".
int QUARANTINE_DAYS();

// The exclusive lock on ".ledger.lock" that every "…Locked" function expects held.
Result<FileLock> lockLedger(LockWait wait = LockWait::wait);

// The ledger as stored; a missing ledger is an empty one.
LedgerContents readLedger();

// Writes the whole ledger (rows, then the damaged lines unchanged) atomically.
Result<void> writeLedger(const LedgerContents& ledger);

// Moves `path` (measured as `bytes`, `identity`) into quarantine and returns where it is held. The
// row is written first with `pending`; when that fails nothing moves. An item on another file
// system than the data folder is held in a quarantine folder at the top of its own mount.
Result<std::string> quarantineItem(const std::string& owner, const std::string& component, const std::string& path,
                                   std::uint64_t bytes, const PathIdentity& identity,
                                   WallClock::time_point now = WallClock::now());

struct CleanTarget;
// The quarantine move of a clean: the target's rule names the owner and component of its row.
Result<std::string> quarantineTarget(const CleanTarget& target);

// What a release sweep did.
struct SweepOutcome {
    std::size_t released = 0;
    bool unrecorded = false;          // something reached the Trash but its row could not be written
    std::vector<std::string> notes;   // lines for the log
};

// The release sweep: entries older than the window go to the Trash; entries the person trashed
// by hand are recorded so. Stops at the first ledger write failure.
SweepOutcome processQuarantineLocked(LedgerContents& ledger, WallClock::time_point now);
SweepOutcome processQuarantine(WallClock::time_point now = WallClock::now());

// For released rows whose spot in the Trash was not known: finds the entry whose Trash record
// names the held path and settles the row; true when any row changed.
bool settleLocationUnknownReleases(LedgerContents& ledger);

// Releases one entry to the Trash now, recording `reason` in the log.
Result<std::string> releaseEntryLocked(QuarantineEntry& entry, WallClock::time_point now, const std::string& reason);

// Releases the entry held at `quarantinePath` before its time; the report line.
std::string releaseQuarantineNow(const std::string& quarantinePath, WallClock::time_point now = WallClock::now());

// What a restore did, as the lines to print.
struct RestoreOutcome {
    bool restored = false;
    std::string message;
};

// Moves the item held at `quarantinePath` back to `originalPath` (or the row's), beside what
// stands there now when that is taken, and records it.
RestoreOutcome restoreQuarantineLocked(LedgerContents& ledger, const std::string& quarantinePath,
                                       const std::optional<std::string>& originalPath = std::nullopt);
// The same under the lock; with no path, the most recently quarantined active entry, or none.
std::optional<RestoreOutcome> restoreQuarantine(const std::optional<std::string>& quarantinePath = std::nullopt);

// Brings back an entry that was already released, from its spot in the Trash, after checking that
// the spot still holds the item this row names.
RestoreOutcome restoreReleasedQuarantine(const std::string& originalPath, const std::string& quarantinePath);

// Where a restore lands when `path` is taken: "name (restored)", "name (restored 2)", … beside it.
std::string besideIfTaken(const std::string& path);

// Deletes the held item for good and records the time; false when there is no such entry.
bool markQuarantineDiscarded(const std::string& quarantinePath, WallClock::time_point now = WallClock::now());

// Rewrites the ledger with the rows still in play (and the damaged lines) and appends the
// finished rows to the archive.
Result<void> compactLedgerLocked(const LedgerContents& ledger);

// Queries.
std::vector<QuarantineEntry> quarantineActive();
std::vector<QuarantineEntry> quarantineReleased();
struct QuarantineHistoryRow {
    std::string owner;
    std::string component;
    std::size_t recreated = 0;
    std::size_t total = 0;
};
std::vector<QuarantineHistoryRow> quarantineHistory();
std::vector<std::string> quarantineOrphans();
std::size_t quarantineLedgerDamage();
bool quarantineWasRestored(const std::string& quarantinePath);
std::optional<std::string> quarantineRestoredBeside(const std::string& quarantinePath);
std::optional<std::string> quarantineReleasedDestination(const std::string& quarantinePath);

}  // namespace kelvor
