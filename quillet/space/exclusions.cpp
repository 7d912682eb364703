#include "quillet/space/exclusions.hpp"

#include <algorithm>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>

#include "quillet/i18n/text.hpp"
#include "quillet/log/log.hpp"
#include "quillet/records/json_record.hpp"
#include "quillet/platform/file_stat.hpp"
#include "quillet/platform/home.hpp"
#include "quillet/platform/path_inside.hpp"
#include "quillet/space/path_case.hpp"

namespace kelvor {

namespace {

constexpr std::string_view LOG_CATEGORY = "exclude";

// An absolute path with empty and "." pieces dropped and ".." taking back the piece before it
// (never above "/"), joined without a trailing "/".
std::string normalised(std::string_view absolute) {
    std::vector<std::string_view> pieces;
    size_t start = 0;
    while (start <= absolute.size()) {
        size_t end = absolute.find('/', start);
        if (end == std::string_view::npos) end = absolute.size();
        std::string_view piece = absolute.substr(start, end - start);
        if (piece == "..") {
            if (!pieces.empty()) pieces.pop_back();
        } else if (!piece.empty() && piece != ".") {
            pieces.push_back(piece);
        }
        start = end + 1;
    }
    if (pieces.empty()) return "/";
    std::string out;
    for (std::string_view piece : pieces) {
        out += '/';
        out += piece;
    }
    return out;
}

Result<std::set<std::string>> readEntries(const std::string& file) {
    Result<JsonRecord> record = readJsonRecord(file);
    if (!record) return record.error();
    Result<std::set<std::string>> entries = decodeExclusionEntries(*record);
    if (!entries) return Error{0, file + " " + entries.error().context};
    return entries;
}

}  // namespace

Result<std::optional<ExcludeStamp>> ExcludeStamp::take(const std::string& path) {
    Result<FileStat> info = statFile(path);
    if (!info) {
        if (info.error().kind == ErrorKind::notFound) return std::optional<ExcludeStamp>();
        return info.error();
    }
    return std::optional<ExcludeStamp>(
        ExcludeStamp{info->inode, info->size, info->modifiedSeconds, info->modifiedNanoseconds});
}

Result<std::set<std::string>> decodeExclusionEntries(const JsonRecord& record) {
    if (!record.readable()) return Error{0, "is not a JSON array of paths: " + record.problem};
    if (!record.value->is_array()) return Error{0, "is not a JSON array of paths"};
    std::set<std::string> entries;
    for (const nlohmann::json& item : *record.value) {
        if (!item.is_string()) return Error{0, "holds an entry that is not a path"};
        const std::string& text = item.get_ref<const std::string&>();
        // A hand-edited entry may be written loosely ("~/Models/"); an empty one names nothing.
        if (!text.empty()) entries.insert(canonExclusion(text));
    }
    return entries;
}

std::string canonExclusion(std::string_view path) {
    std::string expanded = expandTilde(path);
    if (!expanded.starts_with('/')) {
        std::error_code failed;
        std::string here = std::filesystem::current_path(failed).string();
        expanded = here + "/" + expanded;
    }
    return normalised(expanded);
}

std::string resolveExclusionLinks(const std::string& canonical) {
    // weakly_canonical resolves the longest existing prefix and appends the rest as written.
    std::error_code failed;
    std::filesystem::path resolved = std::filesystem::weakly_canonical(canonical, failed);
    if (failed) return canonical;
    return normalised(resolved.string());
}

std::string exclusionRefusal() { return trf(S::exclusionRefusal); }

Exclusions::Exclusions(std::string file) : file_(std::move(file)) {}

Exclusions& Exclusions::shared() {
    static std::mutex registryLock;
    // Never destroyed: a planner thread may still ask while the process exits.
    static auto* instances = new std::map<std::string, std::unique_ptr<Exclusions>>();
    std::string file = dataDir() + "/" + std::string(EXCLUSIONS_FILE_NAME);
    std::lock_guard guard(registryLock);
    std::unique_ptr<Exclusions>& slot = (*instances)[file];
    if (!slot) slot = std::make_unique<Exclusions>(file);
    return *slot;
}

void Exclusions::loadLocked(Reload reload) {
    Result<std::optional<ExcludeStamp>> stamp = ExcludeStamp::take(file_);
    if (stamp && reload == Reload::whenChanged && stamp_ && *stamp_ == *stamp) return;
    if (stamp && !stamp->has_value()) {
        // No file: nothing is excluded, and a list that appears later starts afresh.
        paths_.reset();
        unreadable_ = false;
        lastReadFailed_ = false;
        stamp_ = std::optional<ExcludeStamp>();
        match_.reset();
        return;
    }
    // A stamp that could not be taken is not stored, so the next load reads again.
    stamp_.reset();
    if (stamp) stamp_ = *stamp;
    Result<std::set<std::string>> entries = readEntries(file_);
    if (entries) {
        paths_ = std::move(*entries);
        unreadable_ = false;
        lastReadFailed_ = false;
        match_.reset();
        return;
    }
    // Said once per failure, not at every check of a path.
    bool firstFailure = !lastReadFailed_;
    lastReadFailed_ = true;
    if (paths_) {
        if (firstFailure)
            KelvorLog::write(LOG_CATEGORY, "the exclusion list could not be read; keeping the " +
                                               std::to_string(paths_->size()) + " entries last loaded");
    } else {
        unreadable_ = true;
        if (firstFailure)
            KelvorLog::write(LOG_CATEGORY, "the exclusion list exists but could not be read — treating "
                                           "everything as excluded until it can be");
    }
    if (firstFailure) KelvorLog::write(LOG_CATEGORY, entries.error().describe());
}

std::shared_ptr<const Exclusions::MatchSet> Exclusions::matchLocked() {
    if (match_) return match_;
    auto match = std::make_shared<MatchSet>();
    if (paths_) {
        for (const std::string& entry : *paths_) {
            std::string folded = foldPathCase(entry);
            std::string resolved = foldPathCase(resolveExclusionLinks(entry));
            if (resolved != folded) match->resolutionChangesEntries = true;
            match->folded.push_back(std::move(folded));
            match->resolved.push_back(std::move(resolved));
        }
    }
    match_ = match;
    return match;
}

bool Exclusions::covers(std::string_view path) {
    std::shared_ptr<const MatchSet> match;
    {
        std::lock_guard guard(lock_);
        loadLocked(Reload::whenChanged);
        // Deliberately: a list that cannot be read may name anything, so nothing is offered.
        if (unreadable_) return true;
        match = matchLocked();
    }
    if (match->folded.empty()) return false;
    std::string canonical = canonExclusion(path);
    std::string folded = foldPathCase(canonical);
    for (const std::string& entry : match->folded)
        if (pathInside(folded, entry)) return true;
    // Resolved forms are compared when resolution changed either side: a link into an excluded
    // folder, or an entry written through a link met by a path that is already resolved.
    std::string resolved = foldPathCase(resolveExclusionLinks(canonical));
    if (resolved == folded && !match->resolutionChangesEntries) return false;
    for (const std::string& entry : match->resolved)
        if (pathInside(resolved, entry)) return true;
    return false;
}

std::vector<std::string> Exclusions::inside(std::string_view folder) {
    std::vector<std::string> found;
    std::string resolvedFolder = resolveExclusionLinks(canonExclusion(folder));
    std::string foldedFolder = foldPathCase(resolvedFolder);
    for (const std::string& entry : all()) {
        std::string resolved = resolveExclusionLinks(entry);
        std::string folded = foldPathCase(resolved);
        if (folded != foldedFolder && pathInside(folded, foldedFolder)) found.push_back(resolved);
    }
    return found;
}

Result<RecordLock> Exclusions::holdFileLockLocked(LockWait wait) {
    std::error_code ignored;
    std::filesystem::create_directories(std::filesystem::path(file_).parent_path(), ignored);
    return RecordLock::hold(file_, wait);
}

Result<void> Exclusions::saveLocked() {
    nlohmann::json entries = paths_.value_or(std::set<std::string>());
    if (Result<void> written = writeJsonRecord(file_, entries); !written) return written;
    // Our own write is not news at the next load.
    Result<std::optional<ExcludeStamp>> stamp = ExcludeStamp::take(file_);
    stamp_.reset();
    if (stamp) stamp_ = *stamp;
    return {};
}

Result<void> Exclusions::editLocked(const std::string& what, const std::function<void(std::set<std::string>&)>& change) {
    // Under the file lock the list is read afresh, so an edit another process saved a moment ago
    // is part of what this one saves.
    Result<RecordLock> held = holdFileLockLocked(LockWait::wait);
    loadLocked(held ? Reload::always : Reload::whenChanged);
    if (lastReadFailed_) {
        // Never overwrite entries we could not read: the person mends the file or removes it.
        Error refused{0, file_ + " exists but could not be read; mend it or remove it first"};
        KelvorLog::write(LOG_CATEGORY, "could not save the exclusion list: " + refused.describe());
        return refused;
    }
    std::set<std::string> entries = paths_.value_or(std::set<std::string>());
    change(entries);
    paths_ = std::move(entries);
    match_.reset();
    Result<void> saved = held ? saveLocked() : Result<void>(held.error());
    if (!saved) {
        KelvorLog::write(LOG_CATEGORY, "could not save the exclusion list: " + saved.error().describe());
        return saved;
    }
    KelvorLog::write(LOG_CATEGORY, what);
    return {};
}

Result<void> Exclusions::add(std::string_view path) {
    std::string added = canonExclusion(path);
    std::string folded = foldPathCase(added);
    std::lock_guard guard(lock_);
    return editLocked("added " + added, [&](std::set<std::string>& entries) {
        // The new entry covers everything inside it, and one path is one entry whatever its case.
        std::erase_if(entries, [&](const std::string& entry) { return pathInside(foldPathCase(entry), folded); });
        entries.insert(added);
    });
}

Result<void> Exclusions::remove(std::string_view path) {
    std::string removed = canonExclusion(path);
    std::string folded = foldPathCase(removed);
    std::lock_guard guard(lock_);
    return editLocked("removed " + removed, [&](std::set<std::string>& entries) {
        std::erase_if(entries, [&](const std::string& entry) { return foldPathCase(entry) == folded; });
    });
}

std::vector<std::string> Exclusions::all() {
    std::lock_guard guard(lock_);
    loadLocked(Reload::whenChanged);
    if (unreadable_ || !paths_) return {};
    return {paths_->begin(), paths_->end()};
}

bool Exclusions::unreadable() {
    std::lock_guard guard(lock_);
    loadLocked(Reload::whenChanged);
    return unreadable_;
}

void Exclusions::withExclusionLock(const std::function<void()>& blocked, const std::function<void()>& body) {
    std::unique_lock guard(lock_);
    // Released when the call ends, even when `body` throws.
    Result<RecordLock> held = holdFileLockLocked(LockWait::dontWait);
    if (!held) {
        if (held.error().kind != ErrorKind::busy)
            KelvorLog::write(LOG_CATEGORY, "could not take the exclusion lock: " + held.error().describe());
        guard.unlock();
        blocked();
        return;
    }
    body();
}

}  // namespace kelvor
