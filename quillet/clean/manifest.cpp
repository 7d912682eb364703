#include "quillet/clean/manifest.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>
#include <sys/stat.h>

#include <cinttypes>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <mutex>
#include <random>
#include <type_traits>

#include "quillet/clean/clean_plan.hpp"
#include "quillet/log/log.hpp"
#include "quillet/platform/home.hpp"
#include "quillet/records/json_fields.hpp"
#include "quillet/records/json_record.hpp"
#include "quillet/rules/tier.hpp"

namespace kelvor {

namespace {

std::string isoTime(std::chrono::system_clock::time_point when) {
    std::time_t seconds = std::chrono::system_clock::to_time_t(when);
    std::tm utc{};
    ::gmtime_r(&seconds, &utc);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return text;
}

std::string freshRecordName(std::chrono::system_clock::time_point when) {
    std::string stamp = isoTime(when);
    for (char& c : stamp)
        if (c == ':') c = '-';
    static std::mutex mutex;
    static std::mt19937 random{std::random_device{}()};
    std::uint32_t tag;
    {
        std::lock_guard lock(mutex);
        // The process id keeps a forked child's names apart from its parent's.
        tag = static_cast<std::uint32_t>(random()) ^ (static_cast<std::uint32_t>(::getpid()) * 2654435761u);
    }
    char suffix[24];
    std::snprintf(suffix, sizeof suffix, "-%08" PRIX32 ".json", tag);
    return stamp + suffix;
}

Result<void> makeUndoDir() {
    std::error_code error;
    std::filesystem::create_directories(undoDir(), error);
    if (error) return Error(error.value(), "create " + undoDir());
    return {};
}

// One shared time stamp of the last checkpoint, under its own lock.
std::mutex checkpointMutex;
std::optional<double> lastCheckpoint;

// Reads one member into `into` when it has the type `into` has; a row written by hand or by another
// version may have anything there. True when it was read.
template <typename T>
bool take(const nlohmann::json& row, std::string_view key, T& into) {
    std::optional<T> value;
    if constexpr (std::is_same_v<T, std::string>) value = stringField(row, key);
    else if constexpr (std::is_same_v<T, std::uint64_t>) value = unsignedField(row, key);
    else if constexpr (std::is_same_v<T, bool>) value = boolField(row, key);
    else value = stringListField(row, key);
    if (value) into = std::move(*value);
    return value.has_value();
}

}  // namespace

std::string undoDir() { return dataDir() + "/undo"; }

std::string parentID(const std::string& path) {
    std::string parent = std::filesystem::path(path).parent_path().string();
    struct stat info {};
    if (parent.empty() || ::lstat(parent.c_str(), &info) != 0) return "";
    return std::to_string(static_cast<std::uint64_t>(info.st_dev)) + ":" +
           std::to_string(static_cast<std::uint64_t>(info.st_ino));
}

nlohmann::json manifestItemJson(const ManifestItem& item) {
    nlohmann::json row = {{"owner", item.owner},
                          {"component", item.component},
                          {"originalPath", item.originalPath},
                          {"trashedTo", item.trashedTo},
                          {"bytes", item.bytes},
                          {"forced", item.forced},
                          {"action", item.action},
                          {"cloneSource", item.cloneSource},
                          {"undoCmd", item.undoCmd},
                          {"pending", item.pending},
                          {"sha256", item.sha256},
                          {"ruleTier", item.ruleTier},
                          {"ruleVerified", item.ruleVerified},
                          {"originalParentID", item.originalParentID}};
    if (item.restored) row["restored"] = true;
    return row;
}

std::optional<ManifestItem> manifestItemFrom(const nlohmann::json& row) {
    if (!row.is_object()) return std::nullopt;
    ManifestItem item;
    if (!take(row, "originalPath", item.originalPath) || !take(row, "trashedTo", item.trashedTo) ||
        !take(row, "action", item.action) || !take(row, "pending", item.pending) || item.originalPath.empty())
        return std::nullopt;
    // Rows written by other parts of the program may leave out what they do not use.
    take(row, "owner", item.owner);
    take(row, "component", item.component);
    take(row, "bytes", item.bytes);
    take(row, "forced", item.forced);
    take(row, "cloneSource", item.cloneSource);
    take(row, "undoCmd", item.undoCmd);
    take(row, "sha256", item.sha256);
    take(row, "ruleTier", item.ruleTier);
    take(row, "ruleVerified", item.ruleVerified);
    take(row, "originalParentID", item.originalParentID);
    take(row, "restored", item.restored);
    return item;
}

std::vector<ManifestItem> plannedCLI(const std::vector<CleanTarget>& targets) {
    std::vector<ManifestItem> items;
    for (const CleanTarget& target : targets) {
        ManifestItem item;
        item.owner = target.rule.owner;
        item.component = target.rule.component;
        item.originalPath = target.path;
        item.trashedTo = target.path;
        item.bytes = target.stat.bytes;
        item.ruleTier = std::string(tierLedgerName(target.rule.tier));
        item.ruleVerified = target.rule.verified;
        item.originalParentID = parentID(target.path);
        items.push_back(std::move(item));
    }
    return items;
}

Result<std::string> newManifestPath(Clock& clock) {
    if (Result<void> made = makeUndoDir(); !made) return made.error();
    // The name is claimed by creating its lock file exclusively: two runs started in the same
    // second (or forked with the same random state) never share a record.
    for (int attempt = 0; attempt < 16; ++attempt) {
        std::string path = undoDir() + "/" + freshRecordName(clock.now());
        int descriptor = ::open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
        if (descriptor >= 0) {
            ::close(descriptor);
            return path;
        }
        if (errno != EEXIST) return errnoError("create " + path + ".lock");
    }
    return Error(EEXIST, "name a new record in " + undoDir());
}

std::string retiredManifestPath(const std::string& path) {
    const std::string suffix = ".json";
    if (path.size() >= suffix.size() && path.compare(path.size() - suffix.size(), suffix.size(), suffix) == 0)
        return path.substr(0, path.size() - suffix.size()) + ".done.json";
    return path + ".done.json";
}

Result<std::string> writeManifest(const std::vector<ManifestItem>& items, const std::optional<std::string>& at,
                                  std::optional<bool> open, Clock& clock) {
    if (Result<void> made = makeUndoDir(); !made) return made.error();
    auto when = clock.now();
    std::string path = at ? *at : undoDir() + "/" + freshRecordName(when);
    return withManifestLock(
        path, LockWait::wait, [](const Error& error) -> Result<std::string> { return error; },
        [&]() -> Result<std::string> {
            nlohmann::json record = {{"version", 1}, {"when", isoTime(when)}};
            std::uint64_t total = 0;
            nlohmann::json rows = nlohmann::json::array();
            for (const ManifestItem& item : items) {
                total += item.bytes;
                rows.push_back(manifestItemJson(item));
            }
            if (open) {
                record["open"] = *open;
            } else if (at) {
                // Keep what the record said: a rewrite without an opinion does not close a run.
                Result<JsonRecord> old = readJsonRecord(*at);
                if (old && old->readable() && old->value->contains("open")) record["open"] = (*old->value)["open"];
            }
            record["totalBytes"] = total;
            record["items"] = std::move(rows);
            if (Result<void> written = writeJsonRecord(path, record); !written) return written.error();
            return path;
        });
}

Result<void> checkpointManifest(const std::vector<ManifestItem>& items, const std::string& at, Checkpoint when,
                                Clock& clock) {
    {
        std::lock_guard lock(checkpointMutex);
        double now = clock.monotonicSeconds();
        if (when == Checkpoint::throttled && lastCheckpoint && now - *lastCheckpoint < CHECKPOINT_INTERVAL_SECONDS) return {};
        lastCheckpoint = now;
    }
    Result<std::string> written = writeManifest(items, at, std::nullopt, clock);
    if (written) return {};
    std::size_t moved = 0;
    for (const ManifestItem& item : items) moved += item.pending ? 0 : 1;
    KelvorLog::write("clean", "CHECKPOINT WRITE FAILED at " + at + " (" + std::to_string(moved) + " of " +
                                  std::to_string(items.size()) +
                                  " items have moved and the record does not yet show it): " +
                                  written.error().describe());
    return written.error();
}

int pruneConsumedManifests(std::chrono::system_clock::time_point now) {
    DIR* folder = ::opendir(undoDir().c_str());
    if (!folder) return 0;
    int pruned = 0;
    const std::string suffix = ".done.json";
    while (dirent* entry = ::readdir(folder)) {
        std::string name = entry->d_name;
        if (name.size() <= suffix.size() || name.compare(name.size() - suffix.size(), suffix.size(), suffix) != 0)
            continue;
        std::string path = undoDir() + "/" + name;
        struct stat info {};
        if (::lstat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) continue;
        auto age = now - std::chrono::system_clock::from_time_t(info.st_mtime);
        if (std::chrono::duration_cast<std::chrono::seconds>(age).count() <= CONSUMED_RECORD_MAX_AGE_SECONDS) continue;
        if (::unlink(path.c_str()) == 0) {
            ++pruned;
            ::unlink((path + ".lock").c_str());
        }
    }
    ::closedir(folder);
    if (pruned > 0)
        KelvorLog::write("clean", "pruned " + std::to_string(pruned) + " consumed record(s) older than " +
                                      std::to_string(CONSUMED_RECORD_MAX_AGE_SECONDS / 86400) + " days");
    return pruned;
}

bool restoreParentIsLink(const std::string& recordedParentID, const std::string& path) {
    std::string parent = std::filesystem::path(path).parent_path().string();
    struct stat info {};
    if (::lstat(parent.c_str(), &info) != 0) return false;
    if (S_ISLNK(info.st_mode)) return true;
    // A link higher up leads the same spelling to another folder.
    struct stat followed {};
    if (recordedParentID.empty() || ::stat(parent.c_str(), &followed) != 0) return false;
    std::string now = std::to_string(static_cast<std::uint64_t>(followed.st_dev)) + ":" +
                      std::to_string(static_cast<std::uint64_t>(followed.st_ino));
    char resolved[PATH_MAX];
    return now != recordedParentID && ::realpath(parent.c_str(), resolved) && parent != resolved;
}

bool manifestPayloadPresent(const std::string& path) {
    Result<JsonRecord> record = readJsonRecord(path);
    if (!record || !record->readable()) return false;
    const nlohmann::json& value = *record->value;
    if (!value.contains("items") || !value["items"].is_array()) return false;
    bool any = false;
    for (const nlohmann::json& row : value["items"]) {
        std::optional<ManifestItem> item = manifestItemFrom(row);
        if (!item || item->pending || item->restored) continue;
        struct stat info {};
        if (::lstat(item->trashedTo.c_str(), &info) != 0) return false;
        any = true;
    }
    return any;
}

}  // namespace kelvor
