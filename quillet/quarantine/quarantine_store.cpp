#include "quillet/quarantine/quarantine_store.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <random>
#include <set>
#include <sstream>

#include "quillet/clean/clean_plan.hpp"
#include "quillet/clean/moved_mark.hpp"
#include "quillet/clean/trash_move.hpp"
#include "quillet/clean/trash_others.hpp"
#include "quillet/i18n/text.hpp"
#include "quillet/log/log.hpp"
#include "quillet/platform/defaults.hpp"
#include "quillet/platform/fsops.hpp"
#include "quillet/platform/home.hpp"
#include "quillet/platform/path_parts.hpp"
#include "quillet/platform/printable.hpp"
#include "quillet/platform/remove_tree.hpp"
#include "quillet/platform/trash.hpp"
#include "quillet/records/atomic_write.hpp"
#include "quillet/records/file_bytes.hpp"

namespace kelvor {

namespace {

namespace fs = std::filesystem;

// The first 8 characters of a fresh version-4 UUID string.
std::string uuidPrefix() {
    static thread_local std::mt19937_64 generator{std::random_device{}()};
    static constexpr char HEX[] = "0123456789abcdef";
    std::string prefix;
    for (int i = 0; i < 8; ++i) prefix += HEX[generator() & 0xF];
    return prefix;
}

// The held items are other people's files: only their owner may list the folder.
void makeQuarantineDir() {
    std::error_code ignored;
    fs::create_directories(dataDir(), ignored);
    ::mkdir(QUARANTINE_DIR().c_str(), 0700);
}

bool isRealFolder(const std::string& path) {
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// The holding folder on the file system of `path`: the data folder's own, or one at the top of
// the item's mount, so that nothing is ever copied across file systems.
Result<std::string> holdingFolderFor(const std::string& path) {
    makeQuarantineDir();
    struct stat item {}, home {};
    if (::lstat(path.c_str(), &item) != 0) return errnoError("lstat " + path);
    if (::stat(QUARANTINE_DIR().c_str(), &home) != 0) return errnoError("stat " + QUARANTINE_DIR());
    if (home.st_dev == item.st_dev) return QUARANTINE_DIR();
    std::string top = mountTopOf(path);
    std::string folder = (top == "/" ? "" : top) + "/.kelvor-quarantine-" + std::to_string(::getuid());
    if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) return errnoError("mkdir " + folder);
    struct stat own {};
    if (::lstat(folder.c_str(), &own) != 0 || !S_ISDIR(own.st_mode) || own.st_uid != ::getuid())
        return Error{EPERM, "not a folder of this user: " + folder};
    return folder;
}

QuarantineEntry* findEntry(LedgerContents& ledger, const std::string& quarantinePath) {
    for (QuarantineEntry& entry : ledger.entries)
        if (entry.quarantinePath == quarantinePath) return &entry;
    return nullptr;
}

bool expired(const QuarantineEntry& entry, WallClock::time_point now) {
    std::optional<WallClock::time_point> when = parseIsoStamp(entry.when);
    // A row whose time cannot be read is kept: holding longer is the safe side.
    return when && now - *when >= std::chrono::hours(24) * QUARANTINE_DAYS();
}

// The Trash entry whose record says it came from `heldPath`, if the person trashed it by hand.
std::optional<std::string> trashedByHand(const std::string& heldPath) {
    for (const std::string& entry : trashContents())
        if (std::optional<std::string> origin = trashRecordOrigin(entry); origin && *origin == heldPath) return entry;
    return std::nullopt;
}

// A ledger file's text; nothing when it is missing or cannot be read (never through a link).
std::string storedText(const std::string& path) {
    Result<std::string> text = readWholeFile(path);
    return text ? *text : std::string();
}

void logNote(SweepOutcome& outcome, const std::string& note) {
    outcome.notes.push_back(note);
    KelvorLog::write("quarantine", note);
}

}  // namespace

std::string QUARANTINE_DIR() { return dataDir() + "/quarantine"; }
std::string LEDGER_PATH() { return QUARANTINE_DIR() + "/ledger.jsonl"; }
std::string LEDGER_ARCHIVE_PATH() { return QUARANTINE_DIR() + "/ledger-archive.jsonl"; }

int QUARANTINE_DAYS() { return quarantineDaysFrom(userDefaultInteger("kelvor.quarantineDays")); }

Result<FileLock> lockLedger(LockWait wait) {
    makeQuarantineDir();
    return FileLock::acquire(QUARANTINE_DIR() + "/.ledger.lock", wait, 0600);
}

LedgerContents readLedger() { return ledgerLines(storedText(LEDGER_PATH())); }

Result<void> writeLedger(const LedgerContents& ledger) {
    std::string text;
    for (const QuarantineEntry& entry : ledger.entries) text += ledgerLine(entry) + "\n";
    for (const std::string& line : ledger.damaged) text += line + "\n";
    makeQuarantineDir();
    return writeFileAtomically(LEDGER_PATH(), text);
}

Result<std::string> quarantineItem(const std::string& owner, const std::string& component, const std::string& path,
                                   std::uint64_t bytes, const PathIdentity& identity, WallClock::time_point now) {
    if (insideDataFolder(path)) return Error{0, trf(S::trashOwnState)};
    // The item is judged and moved by its real place, never through a link in its folders.
    Result<std::string> real = realPathOfEntry(path);
    if (!real) return real.error();
    Result<FileLock> lock = lockLedger();
    if (!lock) return Error{lock.error().code, trf(S::quarantineLockFailed)};
    Result<PathIdentity> current = FileOps::real().identity(*real);
    if (!current) return current.error();
    if (!(*current == identity)) return Error{0, trf(S::trashItemChanged)};
    Result<std::string> folder = holdingFolderFor(*real);
    if (!folder) return folder.error();
    LedgerContents ledger = readLedger();
    QuarantineEntry entry;
    entry.originalPath = *real;
    entry.owner = owner;
    entry.component = component;
    entry.bytes = bytes;
    entry.when = isoStamp(now);
    entry.pending = true;
    do entry.quarantinePath = *folder + "/" + uuidPrefix() + "-" + nameOf(*real);
    while (::access(entry.quarantinePath.c_str(), F_OK) == 0 || findEntry(ledger, entry.quarantinePath));
    ledger.entries.push_back(entry);
    if (!writeLedger(ledger)) return Error{0, trf(S::quarantineRecordFailed)};
    if (Result<void> moved = FileOps::real().rename(*real, entry.quarantinePath); !moved) {
        ledger.entries.pop_back();
        if (!writeLedger(ledger))
            KelvorLog::write("quarantine", "a pending row for an item that never moved stays: " + *real);
        return moved.error();
    }
    ledger.entries.back().pending.reset();
    // The item is held either way; a row left pending shows as "move in progress" until fixed.
    if (Result<void> written = writeLedger(ledger); !written)
        KelvorLog::write("quarantine", "held, but the row still says pending: " + entry.quarantinePath);
    KelvorLog::write("quarantine", "quarantined: " + *real + " → " + entry.quarantinePath);
    return entry.quarantinePath;
}

Result<std::string> releaseEntryLocked(QuarantineEntry& entry, WallClock::time_point now, const std::string& reason) {
    // The Trash's record names the item's original place, so the desktop's Restore takes it home.
    Result<TrashMove> moved = moveToTrash(entry.quarantinePath, localTrashStamp(now), entry.originalPath);
    if (!moved) return moved.error();
    if (Result<void> marked = markMoved(moved->destination, entry.originalPath, now); !marked)
        KelvorLog::write("quarantine", "moved mark not written: " + moved->destination);
    entry.released = true;
    entry.releasedTo = moved->destination;
    entry.releasedAt = isoStamp(now);
    entry.settled = true;
    // The owner made the path again while the old copy was held: evidence it was regenerable.
    struct stat again {};
    entry.recreated = ::lstat(entry.originalPath.c_str(), &again) == 0;
    KelvorLog::write("quarantine", "released (" + reason + "): " + entry.quarantinePath + " → " + moved->destination);
    return moved->destination;
}

bool settleLocationUnknownReleases(LedgerContents& ledger) {
    bool changed = false;
    for (QuarantineEntry& entry : ledger.entries) {
        if (!entry.released || entry.releasedTo || entry.settled.value_or(false)) continue;
        if (std::optional<std::string> inTrash = trashedByHand(entry.quarantinePath)) {
            entry.releasedTo = *inTrash;
            entry.settled = true;
            changed = true;
        }
    }
    return changed;
}

SweepOutcome processQuarantineLocked(LedgerContents& ledger, WallClock::time_point now) {
    SweepOutcome outcome;
    if (settleLocationUnknownReleases(ledger) && !writeLedger(ledger))
        logNote(outcome, "could not record where earlier releases are in the Trash");
    for (QuarantineEntry& entry : ledger.entries) {
        if (!entry.active() || entry.pending.value_or(false)) continue;
        std::string state = ledgerLine(entry);
        std::string destination;
        if (::access(entry.quarantinePath.c_str(), F_OK) != 0) {
            std::optional<std::string> inTrash = trashedByHand(entry.quarantinePath);
            entry.released = true;
            entry.releasedAt = isoStamp(now);
            if (inTrash) {
                entry.releasedTo = *inTrash;
                entry.settled = true;
                logNote(outcome, "trashed early by hand: " + entry.quarantinePath);
            } else {
                entry.settled = false;
                logNote(outcome, "released: " + entry.quarantinePath + " · location unknown");
            }
            destination = inTrash.value_or("");
        } else if (expired(entry, now)) {
            Result<std::string> released = releaseEntryLocked(entry, now, "observation window over");
            if (!released) {
                logNote(outcome, "not released: " + entry.quarantinePath + " — " + released.error().describe());
                continue;
            }
            destination = *released;
        } else {
            continue;
        }
        ++outcome.released;
        if (!writeLedger(ledger)) {
            outcome.unrecorded = true;
            logNote(outcome, "LEDGER WRITE FAILED after releasing " + entry.quarantinePath +
                                 " — they are in the Trash but the ledger still lists them as " + state);
            logNote(outcome, "LEDGER WRITE FAILED — stopping the release sweep after " +
                                 std::to_string(outcome.released) + " item(s); the last one is in the Trash at " +
                                 destination);
            return outcome;
        }
    }
    return outcome;
}

SweepOutcome processQuarantine(WallClock::time_point now) {
    if (::access(LEDGER_PATH().c_str(), F_OK) != 0) return {};
    Result<FileLock> lock = lockLedger(LockWait::dontWait);
    if (!lock) {
        SweepOutcome busy;
        logNote(busy, "could not lock the ledger — the release sweep waits for the next start");
        return busy;
    }
    LedgerContents ledger = readLedger();
    SweepOutcome outcome = processQuarantineLocked(ledger, now);
    if (!outcome.unrecorded && outcome.released > 0) {
        if (Result<void> compacted = compactLedgerLocked(ledger); !compacted)
            logNote(outcome, "ledger compaction failed: " + compacted.error().describe());
    }
    return outcome;
}

std::string releaseQuarantineNow(const std::string& quarantinePath, WallClock::time_point now) {
    Result<FileLock> lock = lockLedger();
    if (!lock) return trf(S::quarantineLockFailed);
    LedgerContents ledger = readLedger();
    QuarantineEntry* entry = findEntry(ledger, quarantinePath);
    if (!entry || !entry->active()) return trf(S::quarantineNoRecord);
    Result<std::string> released = releaseEntryLocked(*entry, now, "released early");
    if (!released) return trf(S::quarantineReleaseFailed, {released.error().describe()});
    if (!writeLedger(ledger)) {
        KelvorLog::write("quarantine", "LEDGER WRITE FAILED after an early release — the copy is in the Trash at " + *released);
        return trf(S::quarantineReleaseUnrecorded) + " " + escapeControls(*released);
    }
    return trf(S::quarantineReleased) + " " + escapeControls(*released);
}

std::string besideIfTaken(const std::string& path) {
    if (::access(path.c_str(), F_OK) != 0 && errno == ENOENT) {
        struct stat link {};
        if (::lstat(path.c_str(), &link) != 0) return path;  // a dangling link still takes the name
    }
    for (int attempt = 1;; ++attempt) {
        std::string candidate = path + (attempt == 1 ? " (restored)" : " (restored " + std::to_string(attempt) + ")");
        struct stat info {};
        if (::lstat(candidate.c_str(), &info) != 0) return candidate;
    }
}

RestoreOutcome restoreQuarantineLocked(LedgerContents& ledger, const std::string& quarantinePath,
                                       const std::optional<std::string>& originalPath) {
    QuarantineEntry* entry = findEntry(ledger, quarantinePath);
    if (!entry || !entry->active()) return {false, trf(S::quarantineNoRecord)};
    struct stat held {};
    if (::lstat(quarantinePath.c_str(), &held) != 0) return {false, trf(S::quarantineCopyGone)};
    std::string original = originalPath.value_or(entry->originalPath);
    std::string folder = parentOf(original);
    struct stat above {};
    if (::lstat(folder.c_str(), &above) == 0 && S_ISLNK(above.st_mode))
        return {false, trf(S::quarantineFolderIsLink) + " " + escapeControls(original)};
    std::error_code ignored;
    if (!isRealFolder(folder)) fs::create_directories(folder, ignored);
    std::string target = besideIfTaken(original);
    if (Result<void> moved = FileOps::real().rename(quarantinePath, target); !moved)
        return {false, trf(S::quarantineMoveBackFailed) + " — " + moved.error().describe()};
    entry->restored = true;
    if (target != entry->originalPath) entry->restoredTo = target;
    std::string line = (target == original ? trf(S::quarantineRestored) : trf(S::quarantineRestoredBeside)) + " " +
                       escapeControls(target);
    KelvorLog::write("quarantine", "restored: " + quarantinePath + " → " + target);
    if (!writeLedger(ledger)) return {true, line + "\n" + trf(S::quarantineRestoreUnrecorded)};
    return {true, line};
}

std::optional<RestoreOutcome> restoreQuarantine(const std::optional<std::string>& quarantinePath) {
    Result<FileLock> lock = lockLedger();
    if (!lock) return RestoreOutcome{false, trf(S::quarantineLockFailed)};
    LedgerContents ledger = readLedger();
    std::string target;
    if (quarantinePath) {
        target = *quarantinePath;
    } else {
        // The most recent active row: rows are appended, so the last one in the file.
        for (auto it = ledger.entries.rbegin(); it != ledger.entries.rend(); ++it)
            if (it->active() && !it->pending.value_or(false)) {
                target = it->quarantinePath;
                break;
            }
        if (target.empty()) return std::nullopt;
    }
    return restoreQuarantineLocked(ledger, target);
}

RestoreOutcome restoreReleasedQuarantine(const std::string& originalPath, const std::string& quarantinePath) {
    Result<FileLock> lock = lockLedger();
    if (!lock) return {false, trf(S::quarantineLockFailed)};
    // The row is in the ledger until compaction, then in the archive.
    LedgerContents ledger = readLedger();
    std::string ledgerFile = LEDGER_PATH();
    QuarantineEntry* entry = findEntry(ledger, quarantinePath);
    if (!entry || !entry->released) {
        const std::string archive = storedText(LEDGER_ARCHIVE_PATH());
        ledger = ledgerLines(archive);
        ledgerFile = LEDGER_ARCHIVE_PATH();
        entry = nullptr;
        for (QuarantineEntry& row : ledger.entries)
            if (row.quarantinePath == quarantinePath && row.released && row.originalPath == originalPath) entry = &row;
    }
    if (!entry || !entry->released || entry->restored || entry->originalPath != originalPath)
        return {false, trf(S::releasedNoRecord)};
    if (!entry->releasedTo) return {false, trf(S::releasedSpotUnknown)};
    std::string spot = *entry->releasedTo;
    if (!canReadTrash(spot)) return {false, trf(S::releasedCannotRead)};
    struct stat there {};
    if (::lstat(spot.c_str(), &there) != 0) return {false, trf(S::releasedEmptied)};
    std::optional<MovedMark> mark = movedMark(spot);
    if (!mark || mark->originalPath != originalPath) return {false, trf(S::releasedNotTheOne)};
    std::string folder = parentOf(originalPath);
    struct stat above {};
    if (::lstat(folder.c_str(), &above) == 0 && S_ISLNK(above.st_mode))
        return {false, trf(S::quarantineFolderIsLink) + " " + escapeControls(originalPath)};
    std::error_code ignored;
    if (!isRealFolder(folder)) fs::create_directories(folder, ignored);
    std::string target = besideIfTaken(originalPath);
    if (Result<void> moved = FileOps::real().rename(spot, target); !moved)
        return {false, trf(S::quarantineMoveBackFailed) + " — " + moved.error().describe()};
    forgetTrashRecord(spot);
    entry->restored = true;
    if (target != originalPath) entry->restoredTo = target;
    KelvorLog::write("quarantine", "restored from the Trash: " + spot + " → " + target);
    std::string line = (target == originalPath ? trf(S::quarantineRestored) : trf(S::quarantineRestoredBeside)) + " " +
                       escapeControls(target);
    std::string text;
    for (const QuarantineEntry& row : ledger.entries) text += ledgerLine(row) + "\n";
    for (const std::string& damaged : ledger.damaged) text += damaged + "\n";
    if (!writeFileAtomically(ledgerFile, text)) return {true, line + "\n" + trf(S::quarantineMovedBackUnrecorded)};
    return {true, line};
}

bool markQuarantineDiscarded(const std::string& quarantinePath, WallClock::time_point now) {
    Result<FileLock> lock = lockLedger();
    if (!lock) return false;
    LedgerContents ledger = readLedger();
    QuarantineEntry* entry = findEntry(ledger, quarantinePath);
    if (!entry || !entry->active()) return false;
    Result<std::string> real = realPathOfEntry(quarantinePath);
    if (real && ::access(real->c_str(), F_OK) == 0) {
        if (!removeEntryForGood(parentOf(*real), nameOf(*real))) return false;
    }
    entry->discardedAt = isoStamp(now);
    return writeLedger(ledger).ok();
}

Result<void> compactLedgerLocked(const LedgerContents& ledger) {
    LedgerContents kept;
    kept.damaged = ledger.damaged;
    std::string archived;
    for (const QuarantineEntry& entry : ledger.entries) {
        if (entry.finished()) archived += ledgerLine(entry) + "\n";
        else kept.entries.push_back(entry);
    }
    if (!archived.empty()) {
        // The archive first: a row must never be in neither file.
        const std::string existing = storedText(LEDGER_ARCHIVE_PATH());
        if (Result<void> written = writeFileAtomically(LEDGER_ARCHIVE_PATH(), existing + archived); !written)
            return written;
    }
    return writeLedger(kept);
}

std::vector<QuarantineEntry> quarantineActive() {
    std::vector<QuarantineEntry> active;
    for (QuarantineEntry& entry : readLedger().entries)
        if (entry.active()) active.push_back(std::move(entry));
    return active;
}

std::vector<QuarantineEntry> quarantineReleased() {
    std::vector<QuarantineEntry> released;
    const std::string archive = storedText(LEDGER_ARCHIVE_PATH());
    for (QuarantineEntry& entry : ledgerLines(archive).entries)
        if (entry.released) released.push_back(std::move(entry));
    for (QuarantineEntry& entry : readLedger().entries)
        if (entry.released) released.push_back(std::move(entry));
    return released;
}

std::vector<QuarantineHistoryRow> quarantineHistory() {
    std::map<std::pair<std::string, std::string>, QuarantineHistoryRow> rows;
    for (const QuarantineEntry& entry : quarantineReleased()) {
        QuarantineHistoryRow& row = rows[{entry.owner, entry.component}];
        row.owner = entry.owner;
        row.component = entry.component;
        ++row.total;
        if (entry.recreated.value_or(false)) ++row.recreated;
    }
    std::vector<QuarantineHistoryRow> history;
    for (auto& [key, row] : rows) history.push_back(row);
    return history;
}

std::vector<std::string> quarantineOrphans() {
    LedgerContents ledger = readLedger();
    std::set<std::string> known;
    std::set<std::string> folders{QUARANTINE_DIR()};
    for (const QuarantineEntry& entry : ledger.entries) {
        known.insert(entry.quarantinePath);
        folders.insert(parentOf(entry.quarantinePath));
    }
    for (const QuarantineEntry& entry : quarantineReleased()) known.insert(entry.quarantinePath);
    std::vector<std::string> orphans;
    for (const std::string& folder : folders) {
        std::error_code error;
        for (const fs::directory_entry& item : fs::directory_iterator(folder, error)) {
            std::string path = item.path().string();
            std::string name = item.path().filename().string();
            // The ledgers, their lock and their temporaries are the folder's own files.
            if (folder == QUARANTINE_DIR() && (name.starts_with("ledger") || name.starts_with("."))) continue;
            if (!known.contains(path)) orphans.push_back(path);
        }
    }
    std::sort(orphans.begin(), orphans.end());
    return orphans;
}

std::size_t quarantineLedgerDamage() { return readLedger().damaged.size(); }

namespace {

std::optional<QuarantineEntry> anyRow(const std::string& quarantinePath) {
    std::optional<QuarantineEntry> found;
    for (QuarantineEntry& entry : readLedger().entries)
        if (entry.quarantinePath == quarantinePath) found = std::move(entry);
    if (found) return found;
    const std::string archive = storedText(LEDGER_ARCHIVE_PATH());
    for (QuarantineEntry& entry : ledgerLines(archive).entries)
        if (entry.quarantinePath == quarantinePath) found = std::move(entry);
    return found;
}

}  // namespace

bool quarantineWasRestored(const std::string& quarantinePath) {
    std::optional<QuarantineEntry> row = anyRow(quarantinePath);
    return row && row->restored;
}

std::optional<std::string> quarantineRestoredBeside(const std::string& quarantinePath) {
    std::optional<QuarantineEntry> row = anyRow(quarantinePath);
    return row ? row->restoredTo : std::nullopt;
}

std::optional<std::string> quarantineReleasedDestination(const std::string& quarantinePath) {
    std::optional<QuarantineEntry> row = anyRow(quarantinePath);
    return row && row->released ? row->releasedTo : std::nullopt;
}

Result<std::string> quarantineTarget(const CleanTarget& target) {
    return quarantineItem(target.rule.owner, componentLabel(target.rule), target.path, target.stat.bytes,
                          target.identity.value_or(PathIdentity{}));
}

}  // namespace kelvor
