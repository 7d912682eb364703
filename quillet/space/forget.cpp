#include "quillet/space/forget.hpp"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>

#include "quillet/clean/manifest.hpp"
#include "quillet/i18n/text.hpp"
#include "quillet/platform/home.hpp"
#include "quillet/quarantine/quarantine_store.hpp"
#include "quillet/space/exclusions.hpp"

namespace kelvor {

namespace {

bool endsWith(const std::string& text, const std::string& tail) {
    return text.size() >= tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

// Size on disk of a plain file; none for anything else, a link included, so a link planted under a
// record's name is neither measured through nor offered.
std::optional<std::uint64_t> plainFileBytes(const std::string& path) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return std::nullopt;
    return static_cast<std::uint64_t>(info.st_blocks) * 512;
}

bool isFolder(const std::string& path) {
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// The names in `folder`, sorted; empty when it cannot be read.
std::vector<std::string> namesIn(const std::string& folder) {
    std::vector<std::string> names;
    DIR* dir = ::opendir(folder.c_str());
    if (!dir) return names;
    while (dirent* entry = ::readdir(dir)) {
        std::string name = entry->d_name;
        if (name != "." && name != "..") names.push_back(name);
    }
    ::closedir(dir);
    std::sort(names.begin(), names.end());
    return names;
}

void addSingle(Forgettable& found, const std::string& path, const std::string& label) {
    if (auto bytes = plainFileBytes(path)) found.items.push_back({path, label, *bytes, {path}});
}

// Finished records (".done.json") may go; any other record may still be needed to undo.
void addUndoRecords(Forgettable& found) {
    const std::string folder = undoDir();
    ForgettableItem finished{folder, "", 0, {}};
    std::size_t unfinished = 0;
    for (const std::string& name : namesIn(folder)) {
        const std::string path = folder + "/" + name;
        if (endsWith(name, ".done.json")) {
            if (auto bytes = plainFileBytes(path)) {
                finished.files.push_back(path);
                finished.bytes += *bytes;
            }
        } else if (endsWith(name, ".json")) {
            ++unfinished;
        }
    }
    if (!finished.files.empty()) {
        finished.label = trf(S::forgetFinishedUndo, {std::to_string(finished.files.size())});
        found.items.push_back(std::move(finished));
    }
    if (unfinished > 0)
        found.keeping.push_back({trf(S::forgetUnfinishedUndo, {std::to_string(unfinished)}), trf(S::forgetUnfinishedUndoWhy)});
}

}  // namespace

Forgettable forgettable() {
    Forgettable found;
    const std::string data = dataDir();
    addSingle(found, data + "/history.jsonl", trf(S::forgetHistory));
    addSingle(found, data + "/kelvor.log", trf(S::forgetLog));
    addSingle(found, data + "/kelvor.log.1", trf(S::forgetLogPrevious));
    addSingle(found, data + "/index.json", trf(S::forgetIndex));
    addSingle(found, data + "/apps.json", trf(S::forgetApps));
    addSingle(found, data + "/digests.json", trf(S::forgetDigests));
    addSingle(found, data + "/gone-seen.json", trf(S::forgetGoneSeen));
    addUndoRecords(found);

    std::size_t excluded = Exclusions::shared().all().size();
    if (excluded > 0)
        found.keeping.push_back({trf(S::forgetExclusions, {std::to_string(excluded)}), trf(S::forgetExclusionsWhy)});
    LedgerContents ledger = readLedger();
    std::size_t held = std::count_if(ledger.entries.begin(), ledger.entries.end(),
                                     [](const QuarantineEntry& entry) { return entry.active(); });
    if (held > 0)
        found.keeping.push_back({trf(S::forgetQuarantine, {std::to_string(held)}), trf(S::forgetQuarantineWhy)});
    if (isFolder(data + "/archives")) found.keeping.push_back({trf(S::forgetArchives), trf(S::forgetArchivesWhy)});
    return found;
}

ForgetOutcome clearForgetItems(const std::vector<ForgettableItem>& items) {
    ForgetOutcome outcome;
    for (const ForgettableItem& item : items) {
        for (const std::string& file : item.files) {
            // Checked again at deletion: what was listed may have been replaced since.
            struct stat info {};
            if (::lstat(file.c_str(), &info) != 0) {
                if (errno != ENOENT) outcome.failed.push_back({file, std::strerror(errno)});
                continue;
            }
            if (!S_ISREG(info.st_mode)) {
                outcome.failed.push_back({file, trf(S::forgetNotPlainFile)});
                continue;
            }
            if (::unlink(file.c_str()) != 0) {
                outcome.failed.push_back({file, std::strerror(errno)});
                continue;
            }
            outcome.freed += static_cast<std::uint64_t>(info.st_blocks) * 512;
        }
    }
    return outcome;
}

}  // namespace kelvor
