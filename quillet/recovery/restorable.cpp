#include "quillet/recovery/restorable.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <set>

#include <nlohmann/json.hpp>

#include "quillet/clean/manifest.hpp"
#include "quillet/clean/trash_move.hpp"
#include "quillet/clean/undo.hpp"
#include "quillet/i18n/text.hpp"
#include "quillet/platform/fsops.hpp"
#include "quillet/platform/home.hpp"
#include "quillet/platform/remove_tree.hpp"
#include "quillet/platform/trash.hpp"
#include "quillet/quarantine/quarantine_store.hpp"
#include "quillet/records/atomic_write.hpp"

namespace kelvor {

namespace {

bool present(const std::string& path) {
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0;
}

std::optional<nlohmann::json> readRecord(const std::string& path) {
    std::ifstream in(path);
    if (!in) return std::nullopt;
    nlohmann::json value = nlohmann::json::parse(in, nullptr, false);
    if (value.is_discarded() || !value.is_object() || !value.contains("items") || !value["items"].is_array())
        return std::nullopt;
    return value;
}

// Trash rows of every record. Quarantine rows are taken from the ledger, which knows their state.
void addTrashedRows(std::vector<RestorableItem>& rows) {
    std::set<std::string> seen;  // an origin moved again later is shown once, by its newest record
    for (const std::string& path : undoRecordsNewestFirst()) {
        std::optional<nlohmann::json> record = readRecord(path);
        if (!record) continue;
        const std::string when = record->value("when", "");
        for (const nlohmann::json& row : (*record)["items"]) {
            std::optional<ManifestItem> item = manifestItemFrom(row);
            if (!item || item->action != "trash" || item->pending || item->restored) continue;
            if (row.contains("discardedAt")) continue;
            if (!seen.insert(item->originalPath).second) continue;
            RestorableItem out;
            out.id = path + "\n" + item->trashedTo;
            out.manifest = path;
            out.owner = item->owner;
            out.component = item->component;
            out.bytes = item->bytes;
            out.when = when;
            out.action = item->action;
            out.originalPath = item->originalPath;
            out.trashedTo = item->trashedTo;
            out.payloadPresent = present(item->trashedTo);
            out.kind = RecoveryKind::trashed;
            rows.push_back(std::move(out));
        }
    }
}

void addQuarantinedRows(std::vector<RestorableItem>& rows) {
    for (const QuarantineEntry& entry : quarantineActive()) {
        if (entry.pending.value_or(false)) continue;
        RestorableItem out;
        out.id = LEDGER_PATH() + "\n" + entry.quarantinePath;
        out.manifest = LEDGER_PATH();
        out.owner = entry.owner;
        out.component = entry.component;
        out.bytes = entry.bytes;
        out.when = entry.when;
        out.action = "quarantine";
        out.originalPath = entry.originalPath;
        out.trashedTo = entry.quarantinePath;
        out.payloadPresent = present(entry.quarantinePath);
        out.kind = RecoveryKind::quarantined;
        rows.push_back(std::move(out));
    }
}

// Sets `key` to `value` on the record's row for `trashedTo`, under the record's lock, so the row
// leaves the list and a later undo of that run does not try it again.
void markInRecord(const std::string& recordPath, const std::string& trashedTo, const std::string& key,
                  const nlohmann::json& value) {
    withManifestLock(
        recordPath, LockWait::wait, [](const Error&) {},
        [&] {
            std::optional<nlohmann::json> record = readRecord(recordPath);
            if (!record) return;
            for (nlohmann::json& row : (*record)["items"])
                if (row.is_object() && row.value("trashedTo", "") == trashedTo) row[key] = value;
            (void)writeFileAtomically(recordPath, record->dump());
        });
}

std::string isoNow() {
    std::time_t now = std::time(nullptr);
    std::tm utc {};
    ::gmtime_r(&now, &utc);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return text;
}

std::optional<std::string> discardOne(const RestorableItem& item) {
    if (item.kind != RecoveryKind::trashed) return trf(S::recoveryNotTrashedRow);
    if (!present(item.trashedTo)) return trf(S::recoveryNotInTrash);
    DiscardCheck check = verifyDiscard(item.trashedTo, item.originalPath);
    if (check.refusal) return check.refusal->describe();
    const std::string parent = std::filesystem::path(check.realPath).parent_path().string();
    const std::string name = std::filesystem::path(check.realPath).filename().string();
    Result<void> removed = removeEntryForGood(parent, name);
    if (!removed) return removed.error().describe();
    forgetTrashRecord(item.trashedTo);
    return std::nullopt;
}

std::optional<std::string> restoreFromTrash(const RestorableItem& item) {
    if (!present(item.trashedTo)) return trf(S::recoveryNotInTrash);
    if (present(item.originalPath)) return trf(S::recoveryPlaceTaken);
    // The Trash's own record must still name this entry as coming from the recorded place.
    std::optional<std::string> origin = trashRecordOrigin(item.trashedTo);
    if (origin && *origin != item.originalPath) return trf(S::recoveryNotOurEntry);
    Result<void> moved = FileOps::real().rename(item.trashedTo, item.originalPath);
    if (!moved) return moved.error().describe();
    forgetTrashRecord(item.trashedTo);
    markInRecord(item.manifest, item.trashedTo, "restored", true);
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

void stampGoneSeen(std::vector<RestorableItem>& rows) {
    const std::string file = dataDir() + "/gone-seen.json";
    std::optional<nlohmann::json> seen;
    {
        std::ifstream in(file);
        if (in) {
            nlohmann::json value = nlohmann::json::parse(in, nullptr, false);
            if (value.is_object()) seen = std::move(value);
        }
    }
    if (!seen) seen = nlohmann::json::object();
    bool changed = false;
    const std::string now = isoNow();
    for (RestorableItem& row : rows) {
        if (row.payloadPresent) continue;
        auto at = seen->find(row.id);
        if (at != seen->end() && at->is_string()) {
            row.goneSeenAt = at->get<std::string>();
            continue;
        }
        (*seen)[row.id] = now;
        row.goneSeenAt = now;
        changed = true;
    }
    if (changed) (void)writeFileAtomically(file, seen->dump());
}

std::vector<RestorableItem> recoveryItems(std::size_t limit, bool* more) {
    std::vector<RestorableItem> rows;
    addTrashedRows(rows);
    addQuarantinedRows(rows);
    std::stable_sort(rows.begin(), rows.end(),
                     [](const RestorableItem& a, const RestorableItem& b) { return a.when > b.when; });
    stampGoneSeen(rows);
    if (more) *more = rows.size() > limit;
    if (rows.size() > limit) rows.resize(limit);
    return rows;
}

std::vector<DiscardResult> discardMany(const std::vector<RestorableItem>& rows) {
    std::vector<DiscardResult> results;
    for (const RestorableItem& row : rows) {
        std::optional<std::string> error = discardOne(row);
        if (!error) markInRecord(row.manifest, row.trashedTo, "discardedAt", isoNow());
        results.push_back({row.id, error});
    }
    return results;
}

std::optional<std::string> runRestore(const RestorableItem& item) {
    if (item.kind == RecoveryKind::quarantined) {
        std::optional<RestoreOutcome> outcome = restoreQuarantine(item.trashedTo);
        if (!outcome) return trf(S::recoveryNotHeld);
        if (!outcome->restored) return outcome->message;
        return std::nullopt;
    }
    if (item.kind == RecoveryKind::trashed) return restoreFromTrash(item);
    return trf(S::recoveryNoCommand);
}

}  // namespace kelvor
