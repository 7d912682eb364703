#include "quillet/clean/undo.hpp"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "quillet/clean/manifest.hpp"
#include "quillet/clean/trash_move.hpp"
#include "quillet/quarantine/quarantine_store.hpp"
#include "quillet/i18n/text.hpp"
#include "quillet/log/log.hpp"
#include "quillet/platform/digest.hpp"
#include "quillet/platform/path_inside.hpp"
#include "quillet/platform/printable.hpp"
#include "quillet/platform/trash.hpp"
#include "quillet/records/json_fields.hpp"
#include "quillet/records/json_record.hpp"
#include "quillet/records/record_lock.hpp"

namespace kelvor {

namespace {

bool endsWith(const std::string& text, const std::string& suffix) {
    return text.size() >= suffix.size() && text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

std::string shown(const std::string& path) { return escapeControls(path); }

// A record's name without ".json" or ".done.json": the time it was made, then its tag.
std::string recordStem(const std::string& name) {
    if (endsWith(name, ".done.json")) return name.substr(0, name.size() - 10);
    return name.substr(0, name.size() - 5);
}

// True when another process (or another open in this one) holds the record's file lock.
bool recordHeldElsewhere(const std::string& path) {
    Result<FileLock> lock = FileLock::acquire(recordLockPath(path), LockWait::dontWait);
    return !lock && FileLock::heldElsewhere(lock.error());
}

bool isToolAction(const std::string& action) {
    return action == "docker-remove" || action == "pkg-uninstall" || action == "simruntime-remove";
}

// For a row that never settled: the Trash entry whose put-back record names `original`, while
// nothing is at `original`; none otherwise.
std::optional<std::string> foundInTrash(const std::string& original) {
    struct stat info {};
    if (::lstat(original.c_str(), &info) == 0) return std::nullopt;
    for (const std::string& trash : trashFolders()) {
        const std::string entries = trashEntriesFolder(trash);
        DIR* folder = ::opendir(entries.c_str());
        if (!folder) continue;
        std::optional<std::string> found;
        while (dirent* entry = ::readdir(folder)) {
            std::string name = entry->d_name;
            if (name == "." || name == "..") continue;
            std::string path = entries + "/" + name;
            if (trashRecordOrigin(path) == original) found = path;
        }
        ::closedir(folder);
        if (found) return found;
    }
    return std::nullopt;
}

struct Chosen {
    std::optional<std::string> path;
    bool alreadyUndone = false;  // the newest record is retired: nothing is missing
};

Chosen chooseLast(UndoOutcome& outcome) {
    std::vector<std::string> records = undoRecordsNewestFirst();
    if (records.empty()) {
        outcome.lines.push_back(trf(S::undoNoManifest, {shown(undoDir())}));
        return {std::nullopt, false};
    }
    std::optional<std::string> newestUnreadable;
    for (const std::string& path : records) {
        if (endsWith(path, ".done.json")) {
            if (newestUnreadable) break;
            outcome.lines.push_back(trf(S::undoAlreadyUndone) + " " + shown(path));
            outcome.lines.push_back(trf(S::undoLatestAlreadyUndone));
            outcome.lines.push_back(trf(S::undoGoFurtherBack));
            return {std::nullopt, true};
        }
        Result<JsonRecord> record = readJsonRecord(path);
        if (!record || !record->readable() || !record->value->is_object()) {
            KelvorLog::write("undo", "skipped an unreadable record: " + path);
            if (!newestUnreadable) newestUnreadable = path;
            continue;
        }
        const nlohmann::json& value = *record->value;
        if (trueField(value, "open") && recordHeldElsewhere(path)) {
            KelvorLog::write("undo", "skipped a record whose run is still going: " + path);
            continue;
        }
        if (newestUnreadable) {
            outcome.lines.push_back(trf(S::undoNewestUnreadable, {shown(*newestUnreadable)}));
            outcome.usedOlderRecord = path;
        }
        return {path, false};
    }
    if (newestUnreadable) {
        outcome.lines.push_back(trf(S::undoNewestUnreadableNoOlder));
        return {std::nullopt, false};
    }
    outcome.lines.push_back(trf(S::undoNoManifest, {shown(undoDir())}));
    return {std::nullopt, false};
}

// Whether the folder the item came out of may receive it again; says why not.
bool parentStillFits(const ManifestItem& item, UndoOutcome& outcome) {
    const std::string& original = item.originalPath;
    const std::string parent = std::filesystem::path(original).parent_path().string();
    DIR* folder = ::opendir(parent.c_str());
    if (!folder) {
        outcome.lines.push_back(trf(S::undoParentUnreadable) + " " + shown(original));
        ++outcome.failed;
        return false;
    }
    ::closedir(folder);
    if (restoreParentIsLink(item.originalParentID, original)) {
        outcome.lines.push_back(trf(S::undoParentIsLink) + " " + shown(original));
        ++outcome.failed;
        return false;
    }
    if (!item.originalParentID.empty() && parentID(original) != item.originalParentID) {
        outcome.lines.push_back(trf(S::undoParentNotRecorded) + " " + shown(original));
        ++outcome.failed;
        return false;
    }
    return true;
}

// Brings a row from the quarantine: through the quarantine's own restore, which keeps its ledger,
// or from the Trash when its observation window has passed.
bool restoreQuarantineRow(const ManifestItem& item, FileOps& files, UndoOutcome& outcome);
bool restoreCloneRow(const ManifestItem& item, FileOps& files, UndoOutcome& outcome);

// Brings one moved row back to its original place, or says why not. True when it came back.
bool restoreRow(const ManifestItem& item, FileOps& files, UndoOutcome& outcome) {
    const std::string& original = item.originalPath;
    if (item.action == "quarantine") return restoreQuarantineRow(item, files, outcome);
    if (item.action == "clone-merge") return restoreCloneRow(item, files, outcome);
    struct stat info {};
    if (::lstat(item.trashedTo.c_str(), &info) != 0) {
        outcome.lines.push_back(trf(S::undoNotInTrash) + " " + shown(original));
        ++outcome.missing;
        return false;
    }
    // The Trash's own record of the entry must name this item's place, where it keeps one.
    if (insideAnyTrash(item.trashedTo)) {
        std::optional<std::string> origin = trashRecordOrigin(item.trashedTo);
        if (origin && *origin != original) {
            outcome.lines.push_back(trf(S::undoTrashEntryNotNamed) + " " + shown(original));
            ++outcome.failed;
            return false;
        }
    }
    if (!parentStillFits(item, outcome)) return false;
    // The rename never replaces: an occupant that appears after this look is still not overwritten.
    Result<void> moved = files.rename(item.trashedTo, original);
    if (!moved && moved.error().kind == ErrorKind::exists) {
        outcome.lines.push_back(trf(S::undoOccupied) + " " + shown(original));
        ++outcome.occupied;
        return false;
    }
    if (!moved) {
        KelvorLog::write("undo", "could not restore " + original + ": " + moved.error().describe());
        outcome.lines.push_back(trf(S::undoRestoreFailed) + " " + shown(original));
        ++outcome.failed;
        return false;
    }
    if (item.action == "trash") forgetTrashRecord(item.trashedTo);
    outcome.lines.push_back("  ↩ " + shown(original));
    ++outcome.restored;
    return true;
}

bool restoreCloneRow(const ManifestItem& item, FileOps& files, UndoOutcome& outcome) {
    const std::string& original = item.originalPath;
    struct stat info {};
    if (::lstat(item.trashedTo.c_str(), &info) != 0) {
        outcome.lines.push_back(trf(S::undoNotInTrash) + " " + shown(original));
        ++outcome.missing;
        return false;
    }
    // The clone may be replaced only while it still holds exactly what was cloned: anything else
    // at that place may be the person's own newer data.
    std::uint64_t ignored = 0;
    struct stat clone {};
    if (::lstat(original.c_str(), &clone) != 0 || !S_ISREG(clone.st_mode) ||
        static_cast<std::uint64_t>(clone.st_size) != item.bytes || item.sha256.empty() ||
        sha256File(original, ignored) != item.sha256) {
        outcome.lines.push_back(trf(S::undoCloneMismatch) + " " + shown(original));
        ++outcome.failed;
        return false;
    }
    if (!parentStillFits(item, outcome)) return false;
    // The clone is set aside, not deleted, until the original is back in its place.
    std::string aside = original + ".kelvor-clone-" + std::to_string(::getpid());
    Result<void> setAside = files.rename(original, aside);
    if (!setAside) {
        KelvorLog::write("undo", "could not set the clone " + original + " aside: " + setAside.error().describe());
        outcome.lines.push_back(trf(S::undoRestoreFailed) + " " + shown(original));
        ++outcome.failed;
        return false;
    }
    Result<void> moved = files.rename(item.trashedTo, original);
    if (!moved) {
        KelvorLog::write("undo", "could not restore " + original + ": " + moved.error().describe());
        if (Result<void> back = files.rename(aside, original); !back)
            KelvorLog::write("undo", "the clone stays at " + aside + ": " + back.error().describe());
        outcome.lines.push_back(trf(S::undoRestoreFailed) + " " + shown(original));
        ++outcome.failed;
        return false;
    }
    ::unlink(aside.c_str());  // its blocks are the kept copy's; nothing is lost
    forgetTrashRecord(item.trashedTo);
    outcome.lines.push_back("  ↩ " + shown(original));
    ++outcome.restored;
    return true;
}

bool restoreQuarantineRow(const ManifestItem& item, FileOps& files, UndoOutcome& outcome) {
    const std::string& original = item.originalPath;
    if (quarantineWasRestored(item.trashedTo)) {
        outcome.lines.push_back(trf(S::undoQuarantineAlreadyRestored) + " " + shown(original));
        return true;
    }
    if (std::optional<std::string> released = quarantineReleasedDestination(item.trashedTo)) {
        outcome.lines.push_back(trf(S::undoQuarantineExpired) + " " + shown(original));
        ManifestItem fromTrash = item;
        fromTrash.action = "trash";
        fromTrash.trashedTo = *released;
        return restoreRow(fromTrash, files, outcome);
    }
    struct stat info {};
    if (::lstat(item.trashedTo.c_str(), &info) != 0) {
        outcome.lines.push_back(trf(S::undoNotInTrash) + " " + shown(original));
        ++outcome.missing;
        return false;
    }
    if (!parentStillFits(item, outcome)) return false;
    std::optional<RestoreOutcome> restored = restoreQuarantine(item.trashedTo);
    if (!restored || !restored->restored) {
        if (restored && !restored->message.empty()) outcome.lines.push_back(restored->message);
        outcome.lines.push_back(trf(S::undoRestoreFailed) + " " + shown(original));
        ++outcome.failed;
        return false;
    }
    if (std::optional<std::string> beside = quarantineRestoredBeside(item.trashedTo)) {
        outcome.lines.push_back(trf(S::undoBeside) + " " + shown(*beside));
        outcome.beside.push_back(*beside);
    } else {
        outcome.lines.push_back("  ↩ " + shown(original));
    }
    ++outcome.restored;
    return true;
}

UndoOutcome undoLocked(const std::string& path, FileOps& files, UndoOutcome outcome) {
    Result<JsonRecord> record = readJsonRecord(path);
    if (!record || !record->readable() || !record->value->is_object() || !record->value->contains("items") ||
        !(*record->value)["items"].is_array()) {
        outcome.lines.push_back(trf(S::undoCannotRead) + " " + shown(path));
        ++outcome.failed;
        return outcome;
    }
    nlohmann::json value = *record->value;
    nlohmann::json& rows = value["items"];
    bool changed = false;
    bool allBack = true;
    int noWayBack = 0;
    for (nlohmann::json& row : rows) {
        std::optional<ManifestItem> item = manifestItemFrom(row);
        if (!item) {
            outcome.lines.push_back(trf(S::undoRowUnreadable));
            ++outcome.failed;
            allBack = false;
            continue;
        }
        if (item->restored) {
            outcome.lines.push_back(trf(S::undoAlreadyRestored) + " " + shown(item->originalPath));
            continue;
        }
        if (item->pending) {
            // A run killed between a move and its checkpoint: the Trash's own record may show it.
            if (std::optional<std::string> found = foundInTrash(item->originalPath)) {
                outcome.lines.push_back(trf(S::undoNeverFinishedFound) + " " + shown(*found));
                allBack = false;
                continue;
            }
            // Never moved: it is still where it was, there is nothing to take back.
            outcome.lines.push_back(trf(S::undoNeverMoved) + " " + shown(item->originalPath));
            continue;
        }
        if (item->action == "trash" || item->action == "quarantine" || item->action == "clone-merge") {
            if (restoreRow(*item, files, outcome)) {
                row["restored"] = true;
                changed = true;
            } else {
                allBack = false;
            }
            continue;
        }
        allBack = false;
        if (isToolAction(item->action) && item->undoCmd.empty()) {
            outcome.lines.push_back(trf(S::undoNoWayBack) + " " + shown(item->originalPath));
            ++noWayBack;
        } else {
            // "relocate" and the tools' rows are read and kept, never guessed at.
            outcome.lines.push_back(trf(S::undoActionUnavailable, {shown(item->action)}) + " " +
                                    shown(item->originalPath));
        }
        ++outcome.failed;
    }
    if (changed) {
        if (Result<void> written = writeJsonRecord(path, value); !written) {
            KelvorLog::write("undo", "could not mark the restored rows in " + path + " (a retry will repeat them): " +
                                         written.error().describe());
            outcome.lines.push_back(trf(S::undoMarkFailed));
        }
    }
    if (noWayBack > 0) outcome.lines.push_back(trf(S::undoNoWayBackKept, {std::to_string(noWayBack)}));
    if (allBack) {
        std::string retired = retiredManifestPath(path);
        if (Result<void> renamed = files.rename(path, retired); renamed) {
            outcome.retired = true;
            outcome.manifest = retired;
        } else {
            KelvorLog::write("undo", "could not retire " + path + ": " + renamed.error().describe());
            outcome.lines.push_back(trf(S::undoRetireFailed) + " " + shown(path));
        }
    }
    outcome.lines.push_back(outcome.couldNotLookInTrash
                                ? trf(S::undoSummaryNoLook, {std::to_string(outcome.restored),
                                                             std::to_string(outcome.missing),
                                                             std::to_string(outcome.occupied)})
                                : trf(S::undoSummary, {std::to_string(outcome.restored),
                                                       std::to_string(outcome.missing),
                                                       std::to_string(outcome.occupied)}));
    return outcome;
}

}  // namespace

bool UndoOutcome::complete() const {
    return missing == 0 && occupied == 0 && failed == 0 && !couldNotLockRecord && !couldNotLookInTrash;
}

std::vector<std::string> undoRecordsNewestFirst() {
    std::vector<std::string> names;
    if (DIR* folder = ::opendir(undoDir().c_str())) {
        while (dirent* entry = ::readdir(folder)) {
            std::string name = entry->d_name;
            if (name.front() == '.' || !endsWith(name, ".json")) continue;
            names.push_back(name);
        }
        ::closedir(folder);
    }
    // The name starts with the time of writing; within one second, the later-modified is newer.
    auto modified = [](const std::string& name) {
        struct stat info {};
        if (::lstat((undoDir() + "/" + name).c_str(), &info) != 0) return std::int64_t{0};
        return static_cast<std::int64_t>(info.st_mtim.tv_sec) * 1'000'000'000 + info.st_mtim.tv_nsec;
    };
    std::sort(names.begin(), names.end(), [&](const std::string& a, const std::string& b) {
        std::string stemA = recordStem(a).substr(0, 20), stemB = recordStem(b).substr(0, 20);
        if (stemA != stemB) return stemA > stemB;
        return modified(a) > modified(b);
    });
    std::vector<std::string> paths;
    for (const std::string& name : names) paths.push_back(undoDir() + "/" + name);
    return paths;
}

UndoOutcome runUndo(const std::string& target, FileOps& files) {
    UndoOutcome outcome;
    std::string path = target;
    if (target == "last") {
        Chosen chosen = chooseLast(outcome);
        if (!chosen.path) {
            if (!chosen.alreadyUndone) ++outcome.failed;
            return outcome;
        }
        path = *chosen.path;
    }
    outcome.manifest = path;
    struct stat info {};
    if (endsWith(path, ".done.json") || (::lstat(path.c_str(), &info) != 0 &&
                                         ::lstat(retiredManifestPath(path).c_str(), &info) == 0)) {
        outcome.lines.push_back(trf(S::undoAlreadyUndone) + " " + shown(path));
        return outcome;
    }
    if (::lstat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
        outcome.lines.push_back(trf(S::undoCannotRead) + " " + shown(path));
        ++outcome.failed;
        return outcome;
    }
    return withManifestLock(
        path, LockWait::dontWait,
        [&](const Error&) {
            outcome.couldNotLockRecord = true;
            outcome.lines.push_back(trf(S::undoRecordBusy));
            return outcome;
        },
        [&]() { return undoLocked(path, files, outcome); });
}

}  // namespace kelvor
