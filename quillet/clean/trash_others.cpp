#include "quillet/clean/trash_others.hpp"

#include <sys/stat.h>

#include <chrono>
#include <filesystem>

#include "quillet/clean/moved_mark.hpp"
#include "quillet/platform/time_stamps.hpp"
#include "quillet/clean/trash_move.hpp"
#include "quillet/i18n/text.hpp"
#include "quillet/log/log.hpp"
#include "quillet/platform/fsops.hpp"
#include "quillet/platform/path_parts.hpp"
#include "quillet/platform/printable.hpp"
#include "quillet/platform/remove_tree.hpp"
#include "quillet/platform/trash.hpp"
#include "quillet/scan/measure.hpp"

namespace kelvor {

namespace {

namespace fs = std::filesystem;

// The Trash folder whose entries folder holds `path` directly, or "".
std::string owningTrash(const std::string& path) {
    for (const std::string& trash : trashFolders())
        if (parentOf(path) == trashEntriesFolder(trash)) return trash;
    return "";
}

std::string changeDate(const std::string& path) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0) return "";
    return isoStamp(WallClock::from_time_t(info.st_ctime));
}

}  // namespace

std::vector<std::string> trashContents() {
    std::vector<std::string> entries;
    for (const std::string& trash : trashFolders()) {
        std::error_code error;
        for (const fs::directory_entry& entry : fs::directory_iterator(trashEntriesFolder(trash), error)) {
            std::string name = entry.path().filename().string();
            if (name == ".DS_Store" || name == ".localized") continue;
            entries.push_back(entry.path().string());
        }
    }
    return entries;
}

bool isKelvorEntry(const std::string& path) {
    std::optional<MovedMark> mark = movedMark(path);
    return mark && !verifyDiscard(path, mark->originalPath).refusal;
}

std::vector<TrashOther> trashOthers(const std::set<std::string>& known, std::size_t limit) {
    std::vector<TrashOther> others;
    for (const std::string& path : trashContents()) {
        if (others.size() >= limit) break;
        if (known.contains(path) || isKelvorEntry(path)) continue;
        TrashOther item;
        item.id = path;
        item.origin = trashRecordOrigin(path);
        item.size = measureTree(path, 1, std::chrono::seconds(10)).bytes;
        item.date = changeDate(path);
        others.push_back(std::move(item));
    }
    return others;
}

std::size_t trashForeignCount() {
    std::size_t count = 0;
    for (const std::string& path : trashContents())
        if (!isKelvorEntry(path)) ++count;
    return count;
}

TrashAction putBackOther(const TrashOther& item) {
    if (owningTrash(item.id).empty()) return {false, trf(S::deleteOtherNotEntry)};
    std::optional<std::string> origin = trashRecordOrigin(item.id);
    if (!origin) return {false, trf(S::putBackNoRecord)};
    struct stat info {};
    if (::stat(parentOf(*origin).c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
        return {false, trf(S::putBackFolderGone)};
    if (::lstat(origin->c_str(), &info) == 0) return {false, trf(S::putBackTaken)};
    if (Result<void> moved = FileOps::real().rename(item.id, *origin); !moved)
        return {false, trf(S::putBackFailed, {moved.error().describe()})};
    forgetTrashRecord(item.id);
    KelvorLog::write("trash", "put back from the Trash: " + item.id + " → " + *origin);
    return {true, trf(S::putBackOtherDone) + " " + escapeControls(*origin)};
}

TrashAction deleteOther(const TrashOther& item) {
    Result<std::string> real = realPathOfEntry(item.id);
    if (!real || owningTrash(*real).empty()) return {false, trf(S::deleteOtherNotEntry)};
    Result<void> removed = removeEntryForGood(parentOf(*real), real->substr(real->rfind('/') + 1));
    if (!removed) return {false, trf(S::deleteOtherFailed) + " " + escapeControls(*real) + " — " + removed.error().describe()};
    forgetTrashRecord(*real);
    KelvorLog::write("trash", "deleted from Trash: " + *real);
    return {true, trf(S::deleteOtherDone) + " " + escapeControls(*real)};
}

std::size_t emptyHomeTrash() {
    std::size_t count = 0;
    std::string entries = trashEntriesFolder(homeTrashFolder());
    for (const std::string& path : trashContents()) {
        if (parentOf(path) != entries || !isKelvorEntry(path)) continue;
        if (removeEntryForGood(entries, path.substr(path.rfind('/') + 1))) {
            forgetTrashRecord(path);
            ++count;
        }
    }
    return count;
}

}  // namespace kelvor
