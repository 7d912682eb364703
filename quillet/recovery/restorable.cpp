#include "quillet/recovery/restorable.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <map>

#include <nlohmann/json.hpp>

#include "quillet/clean/manifest.hpp"
#include "quillet/clean/moved_mark.hpp"
#include "quillet/platform/time_stamps.hpp"
#include "quillet/clean/trash_move.hpp"
#include "quillet/clean/undo.hpp"
#include "quillet/i18n/text.hpp"
#include "quillet/platform/fsops.hpp"
#include "quillet/platform/home.hpp"
#include "quillet/platform/printable.hpp"
#include "quillet/platform/remove_tree.hpp"
#include "quillet/platform/trash.hpp"
#include "quillet/quarantine/ledger.hpp"
#include "quillet/quarantine/quarantine_store.hpp"
#include "quillet/records/atomic_write.hpp"
#include "quillet/records/json_fields.hpp"
#include "quillet/records/json_record.hpp"
#include "quillet/records/record_lock.hpp"
#include "quillet/recovery/restore_command.hpp"

namespace kelvor {

namespace {

bool present(const std::string& path) {
    struct stat info {};
    return !path.empty() && ::lstat(path.c_str(), &info) == 0;
}

std::string nowStamp() { return isoStamp(WallClock::now()); }

std::string dayOf(const std::optional<std::string>& stamp) { return stamp ? stamp->substr(0, 10) : ""; }

std::optional<nlohmann::json> readRecord(const std::string& path) {
    Result<JsonRecord> record = readJsonRecord(path);
    if (!record || !record->readable()) return std::nullopt;
    nlohmann::json& value = *record->value;
    if (!value.is_object() || !value.contains("items") || !value["items"].is_array()) return std::nullopt;
    return value;
}

// What only the file system can say about a row: where its copy is, who owns it, what its mark
// says, whether anything stands at its place and whether that is the item itself put back.
void observe(RestorableItem& row) {
    struct stat copy {};
    row.payloadPresent = !row.trashedTo.empty() && ::lstat(row.trashedTo.c_str(), &copy) == 0;
    row.foreignOwner = row.payloadPresent && copy.st_uid != ::geteuid();
    if (row.payloadPresent)
        if (std::optional<MovedMark> mark = movedMark(row.trashedTo)) row.stampOrigin = mark->originalPath;
    row.originTaken = present(row.originalPath);
    if (!row.payloadPresent) {
        // Put back by hand (a file manager, trash-restore): the moved mark travelled with it.
        std::optional<MovedMark> there = row.originTaken ? movedMark(row.originalPath) : std::nullopt;
        row.backNow = there && there->originalPath == row.originalPath;
    }
}

struct RuleFacts {
    std::string tier;
    bool verified = false;
};

// Rows of every undo record. Quarantine rows are taken from the ledger, which knows their state;
// their rule facts are only in the record, so they are collected by held path for the ledger rows.
void addRecordRows(std::vector<RestorableItem>& rows, std::map<std::string, RuleFacts>& heldRules) {
    for (const std::string& path : undoRecordsNewestFirst()) {
        std::optional<nlohmann::json> record = readRecord(path);
        if (!record) continue;
        const std::string when = record->value("when", "");
        for (const nlohmann::json& raw : (*record)["items"]) {
            std::optional<ManifestItem> item = manifestItemFrom(raw);
            if (!item || item->pending || item->restored) continue;
            if (item->action == "quarantine") {
                heldRules[item->trashedTo] = {item->ruleTier, item->ruleVerified};
                continue;
            }
            std::optional<std::string> discardedAt;
            if (raw.contains("discardedAt") && raw["discardedAt"].is_string())
                discardedAt = raw["discardedAt"].get<std::string>();
            const bool trashed = item->action == "trash";
            // A copy discarded, or a store a tool removed, comes back only by its command.
            if ((!trashed || discardedAt) && item->undoCmd.empty()) continue;
            RestorableItem out;
            out.id = path + "\n" + item->trashedTo;
            out.manifest = path;
            out.owner = item->owner;
            out.component = fromKorean(item->component);
            out.bytes = item->bytes;
            out.when = when;
            out.command = item->undoCmd;
            out.action = item->action;
            out.originalPath = item->originalPath;
            out.ruleTier = item->ruleTier;
            out.ruleVerified = item->ruleVerified;
            out.recordRow = item->trashedTo;
            out.originalParentID = item->originalParentID;
            if (trashed && !discardedAt) out.trashedTo = item->trashedTo;
            else out.goneAt = discardedAt ? *discardedAt : when;
            observe(out);
            out.kind = out.payloadPresent || out.command.empty() ? RecoveryKind::trashed : RecoveryKind::refetch;
            rows.push_back(std::move(out));
        }
    }
}

int daysLeftOf(const std::string& when) {
    std::optional<WallClock::time_point> since = parseIsoStamp(when);
    if (!since) return QUARANTINE_DAYS();
    auto held = std::chrono::duration_cast<std::chrono::hours>(WallClock::now() - *since).count();
    // A day begun counts as a day still left.
    std::int64_t left = (std::int64_t{QUARANTINE_DAYS()} * 24 - held + 23) / 24;
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, QUARANTINE_DAYS()));
}

RestorableItem ledgerRow(const QuarantineEntry& entry, const std::map<std::string, RuleFacts>& heldRules) {
    RestorableItem out;
    out.id = LEDGER_PATH() + "\n" + entry.quarantinePath;
    out.manifest = LEDGER_PATH();
    out.owner = entry.owner;
    out.component = entry.component;
    out.bytes = entry.bytes;
    out.when = entry.when;
    out.action = "quarantine";
    out.originalPath = entry.originalPath;
    out.heldAt = entry.quarantinePath;
    if (auto rule = heldRules.find(entry.quarantinePath); rule != heldRules.end()) {
        out.ruleTier = rule->second.tier;
        out.ruleVerified = rule->second.verified;
    }
    return out;
}

void addLedgerRows(std::vector<RestorableItem>& rows, const std::map<std::string, RuleFacts>& heldRules) {
    for (const QuarantineEntry& entry : quarantineActive()) {
        if (entry.pending.value_or(false)) continue;
        RestorableItem out = ledgerRow(entry, heldRules);
        out.trashedTo = entry.quarantinePath;
        out.daysLeft = daysLeftOf(entry.when);
        out.kind = RecoveryKind::quarantined;
        observe(out);
        rows.push_back(std::move(out));
    }
    // Released after the observation period: in the Trash now, still Kelvor's to put back.
    for (const QuarantineEntry& entry : quarantineReleased()) {
        if (entry.restored || entry.discardedAt || !entry.releasedTo) continue;
        RestorableItem out = ledgerRow(entry, heldRules);
        out.trashedTo = *entry.releasedTo;
        out.releasedAt = entry.releasedAt;
        out.kind = RecoveryKind::trashed;
        observe(out);
        rows.push_back(std::move(out));
    }
}

// Runs `edit` on the record at `recordPath` under its lock and writes it back when it says so.
template <typename Edit>
void editRecord(const std::string& recordPath, Edit&& edit) {
    withRecordLock(
        recordPath, LockWait::wait, [](const Error&) {},
        [&] {
            std::optional<nlohmann::json> record = readRecord(recordPath);
            if (!record || !edit(*record)) return;
            (void)writeJsonRecord(recordPath, *record);
        });
}

// Sets `key` to `value` on the record's row for `trashedTo`, so the row leaves the list (or turns
// into a re-fetch row) and a later undo of that run does not try it again.
void markInRecord(const std::string& recordPath, const std::string& trashedTo, const std::string& key,
                  const nlohmann::json& value) {
    editRecord(recordPath, [&](nlohmann::json& record) {
        bool changed = false;
        for (nlohmann::json& row : record["items"])
            if (stringField(row, "trashedTo") == trashedTo) {
                row[key] = value;
                changed = true;
            }
        return changed;
    });
}

// Records a discard on a released ledger row, in the ledger or, after compaction, the archive.
void markReleasedDiscarded(const std::string& heldAt, const std::string& when) {
    Result<FileLock> lock = lockLedger();
    if (!lock) return;
    LedgerContents ledger = readLedger();
    for (QuarantineEntry& entry : ledger.entries)
        if (entry.quarantinePath == heldAt) {
            entry.discardedAt = when;
            (void)writeLedger(ledger);
            return;
        }
    Result<JsonRecord> archived = readJsonRecord(LEDGER_ARCHIVE_PATH());
    if (!archived) return;
    LedgerContents archive = ledgerLines(archived->text);
    std::string text;
    for (QuarantineEntry& entry : archive.entries) {
        if (entry.quarantinePath == heldAt) entry.discardedAt = when;
        text += ledgerLine(entry) + "\n";
    }
    for (const std::string& line : archive.damaged) text += line + "\n";
    (void)writeFileAtomically(LEDGER_ARCHIVE_PATH(), text);
}

bool fromLedger(const RestorableItem& item) { return !item.heldAt.empty(); }

// The Trash entry still holds the item moved there from the row's place, as its moved mark says.
// The Trash's own record is no proof: it stays behind when the entry is replaced.
bool stillOurEntry(const RestorableItem& item) {
    std::optional<MovedMark> mark = movedMark(item.trashedTo);
    return mark && mark->originalPath == item.originalPath;
}

std::optional<RestoreFailure> fail(RestoreProblem problem, std::string text) {
    return RestoreFailure{problem, std::move(text)};
}

std::optional<RestoreFailure> restoreFromTrash(const RestorableItem& item) {
    if (!present(item.trashedTo)) return fail(RestoreProblem::notInTrash, trf(S::recoveryNotInTrash));
    if (present(item.originalPath)) return fail(RestoreProblem::placeTaken, trf(S::recoveryPlaceTaken));
    if (fromLedger(item)) {
        RestoreOutcome outcome = restoreReleasedQuarantine(item.originalPath, item.heldAt);
        if (outcome.restored) return std::nullopt;
        return fail(RestoreProblem::other, outcome.message);
    }
    if (!stillOurEntry(item)) return fail(RestoreProblem::notOurEntry, trf(S::recoveryNotOurEntry));
    // Moving it into a folder that became a link would put it somewhere else entirely.
    if (restoreParentIsLink(item.originalParentID, item.originalPath))
        return fail(RestoreProblem::other, trf(S::recoveryParentIsLink));
    Result<void> moved = FileOps::real().rename(item.trashedTo, item.originalPath);
    if (!moved) return fail(RestoreProblem::other, moved.error().describe());
    forgetTrashRecord(item.trashedTo);
    markInRecord(item.manifest, item.recordRow, "restored", true);
    return std::nullopt;
}

std::optional<RestoreFailure> restoreByCommand(const RestorableItem& item) {
    if (item.command.empty()) return fail(RestoreProblem::noCommand, trf(S::recoveryNoCommand));
    const std::string& program = item.command.front();
    const std::vector<std::string>& known = knownToolBinaries();
    const bool isKnown = std::find(known.begin(), known.end(), program) != known.end();
    if (isKnown && !findOnPath(program))
        return fail(RestoreProblem::notInstalled, trf(S::recoveryNotInstalled, {escapeControls(program)}));
    if (!validRestoreCmd(item.command)) return fail(RestoreProblem::commandRefused, trf(S::recoveryCommandRefused));
    switch (runRecordedCommand(item.command)) {
        case CommandRun::couldNotStart:
            return fail(RestoreProblem::couldNotStart, trf(S::recoveryCouldNotStart, {escapeControls(program)}));
        case CommandRun::failed: return fail(RestoreProblem::commandFailed, trf(S::recoveryCommandFailed));
        case CommandRun::succeeded: break;
    }
    if (!present(item.originalPath))
        return fail(RestoreProblem::nothingBack, trf(S::recoveryNothingBackAt) + " " + escapeControls(item.originalPath) +
                                                     trf(S::recoveryRecordKept));
    markInRecord(item.manifest, item.recordRow, "restored", true);
    return std::nullopt;
}

std::optional<std::string> discardOne(const RestorableItem& item) {
    if (item.kind == RecoveryKind::quarantined) {
        if (!markQuarantineDiscarded(item.heldAt)) return trf(S::recoveryHeldNotDiscarded);
        return std::nullopt;
    }
    if (item.kind != RecoveryKind::trashed) return trf(S::recoveryNotTrashedRow);
    if (!present(item.trashedTo)) return trf(S::recoveryNotInTrash);
    DiscardCheck check = verifyDiscard(item.trashedTo, item.originalPath);
    if (check.refusal) return check.refusal->describe();
    const std::filesystem::path real(check.realPath);
    Result<void> removed = removeEntryForGood(real.parent_path().string(), real.filename().string());
    if (!removed) return removed.error().describe();
    forgetTrashRecord(item.trashedTo);
    markDiscarded(item);
    return std::nullopt;
}

}  // namespace

std::string recoveryLabel(RecoveryKind kind) {
    switch (kind) {
        case RecoveryKind::quarantined: return trf(S::recoveryQuarantined);
        case RecoveryKind::trashed: return trf(S::recoveryInTrash);
        case RecoveryKind::refetch: return trf(S::recoveryGone);
    }
    return "";
}

std::string recoveryHowBack(RecoveryKind kind) {
    switch (kind) {
        case RecoveryKind::quarantined: return trf(S::recoveryHowQuarantined, {std::to_string(QUARANTINE_DAYS())});
        case RecoveryKind::trashed: return trf(S::recoveryHowTrashed);
        case RecoveryKind::refetch: return trf(S::recoveryHowRefetch);
    }
    return "";
}

std::string RestorableItem::howItComesBack() const {
    if (kind == RecoveryKind::quarantined && daysLeft)
        return trf(S::recoveryHowQuarantined, {std::to_string(*daysLeft)});
    return recoveryHowBack(kind);
}

std::string RestorableItem::commandLine() const {
    std::string line;
    for (const std::string& word : command) {
        if (!line.empty()) line += ' ';
        const bool plain = !word.empty() && word.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                                                   "0123456789@%+=:,./_-") == std::string::npos;
        if (plain) {
            line += word;
            continue;
        }
        line += '\'';
        for (char c : word) line += c == '\'' ? std::string("'\\''") : std::string(1, c);
        line += '\'';
    }
    return escapeControls(line);
}

std::string RestorableItem::quarantineKey() const { return heldAt; }

bool RestorableItem::safeToDiscard() const {
    if (kind != RecoveryKind::trashed || !payloadPresent) return false;
    if (!command.empty() || rebuiltAtOrigin()) return true;
    // "A · re-downloadable", "B · regenerated": a verified rule says it comes back by itself.
    return ruleVerified && (ruleTier.starts_with("A") || ruleTier.starts_with("B"));
}

bool RestorableItem::adminOwned() const { return foreignOwner; }

bool RestorableItem::rebuiltAtOrigin() const { return originTaken && !isBack(); }

std::string RestorableItem::goneDate() const { return dayOf(goneAt ? goneAt : goneSeenAt); }

std::string RestorableItem::stageDate() const { return when.substr(0, 10); }

std::string RestorableItem::quarantineDate() const { return fromLedger(*this) ? when.substr(0, 10) : ""; }

std::string RestorableItem::trashDate() const {
    if (fromLedger(*this)) return dayOf(releasedAt);
    return action == "trash" ? when.substr(0, 10) : "";
}

std::vector<RestorableItem> foldSameOrigin(std::vector<RestorableItem> rows) {
    std::vector<RestorableItem> kept;
    std::map<std::pair<std::string, RecoveryKind>, std::size_t> first;
    for (RestorableItem& row : rows) {
        if (row.kind != RecoveryKind::quarantined) {
            auto [at, fresh] = first.try_emplace({row.originalPath, row.kind}, kept.size());
            if (!fresh) {
                kept[at->second].folded += 1 + row.folded;
                continue;
            }
        }
        kept.push_back(std::move(row));
    }
    return kept;
}

void stampGoneSeen(std::vector<RestorableItem>& rows) {
    const std::string file = dataDir() + "/gone-seen.json";
    std::error_code ignored;
    std::filesystem::create_directories(dataDir(), ignored);
    withRecordLock(
        file, LockWait::wait, [](const Error&) {},
        [&] {
            nlohmann::json seen = nlohmann::json::object();
            if (Result<JsonRecord> stored = readJsonRecord(file); stored && stored->readable() && stored->value->is_object())
                seen = std::move(*stored->value);
            bool changed = false;
            const std::string now = nowStamp();
            for (RestorableItem& row : rows) {
                if (row.payloadPresent || row.isBack()) continue;
                auto at = seen.find(row.id);
                if (at != seen.end() && at->is_string()) {
                    row.goneSeenAt = at->get<std::string>();
                    continue;
                }
                seen[row.id] = now;
                row.goneSeenAt = now;
                changed = true;
            }
            if (changed) (void)writeJsonRecord(file, seen);
        });
}

std::vector<RestorableItem> restorableItems() {
    std::vector<RestorableItem> rows;
    std::map<std::string, RuleFacts> heldRules;
    addRecordRows(rows, heldRules);
    addLedgerRows(rows, heldRules);
    std::stable_sort(rows.begin(), rows.end(),
                     [](const RestorableItem& a, const RestorableItem& b) { return a.when > b.when; });
    // Put back by hand: nothing is left to restore or to discard, and nothing to fold into.
    std::erase_if(rows, [](const RestorableItem& row) { return row.isBack(); });
    rows = foldSameOrigin(std::move(rows));
    stampGoneSeen(rows);
    return rows;
}

std::vector<RestorableItem> recoveryItems(std::size_t limit, bool* more) {
    std::vector<RestorableItem> rows = restorableItems();
    if (more) *more = rows.size() > limit;
    if (rows.size() > limit) rows.resize(limit);
    return rows;
}

std::optional<RestoreFailure> restoreItem(const RestorableItem& item) {
    switch (item.kind) {
        case RecoveryKind::quarantined: {
            std::optional<RestoreOutcome> outcome = restoreQuarantine(item.heldAt);
            if (!outcome) return fail(RestoreProblem::notHeld, trf(S::recoveryNotHeld));
            if (!outcome->restored) return fail(RestoreProblem::other, outcome->message);
            return std::nullopt;
        }
        case RecoveryKind::trashed: return restoreFromTrash(item);
        case RecoveryKind::refetch: return restoreByCommand(item);
    }
    return fail(RestoreProblem::other, trf(S::recoveryNoCommand));
}

std::optional<std::string> runRestore(const RestorableItem& item) {
    std::optional<RestoreFailure> failure = restoreItem(item);
    if (!failure) return std::nullopt;
    return failure->text;
}

std::string explainRestoreFailure(const RestorableItem& item, RestoreProblem problem) {
    switch (problem) {
        case RestoreProblem::notInTrash:
            if (!item.command.empty()) return trf(S::recoveryAdviceRunCommand, {item.commandLine()});
            return trf(S::recoveryAdviceEmptied);
        case RestoreProblem::placeTaken: return trf(S::recoveryAdvicePlaceTaken, {escapeControls(item.originalPath)});
        case RestoreProblem::notOurEntry: return trf(S::recoveryAdviceNotOurs);
        case RestoreProblem::notHeld: return trf(S::recoveryAdviceNotHeld);
        case RestoreProblem::noCommand: return trf(S::recoveryAdviceEmptied);
        case RestoreProblem::commandRefused: return trf(S::recoveryAdviceRefused, {item.commandLine()});
        case RestoreProblem::notInstalled:
            return trf(S::recoveryAdviceInstall, {escapeControls(item.command.front()), item.commandLine()});
        case RestoreProblem::couldNotStart:
        case RestoreProblem::commandFailed: return trf(S::recoveryAdviceRunItYourself, {item.commandLine()});
        case RestoreProblem::nothingBack: return trf(S::recoveryAdviceNothingBack, {escapeControls(item.owner)});
        case RestoreProblem::other: break;
    }
    return trf(S::recoveryAdviceTryAgain);
}

void markDiscarded(const RestorableItem& item) {
    const std::string when = nowStamp();
    if (fromLedger(item)) {
        if (item.kind == RecoveryKind::trashed) markReleasedDiscarded(item.heldAt, when);
        return;
    }
    markInRecord(item.manifest, item.recordRow, "discardedAt", when);
}

std::vector<DiscardResult> discardMany(const std::vector<RestorableItem>& rows) {
    std::vector<DiscardResult> results;
    for (const RestorableItem& row : rows) results.push_back({row.id, discardOne(row)});
    return results;
}

}  // namespace kelvor
