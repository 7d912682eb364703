#pragma once
// What the clean tests share: stores in a temporary home, a Trash that is a folder of the test's
// own, a snapshot of every byte, mode and time of a tree, and the undo record's rows.
#include <sys/stat.h>

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "quillet/clean/clean_plan.hpp"
#include "quillet/clean/executor.hpp"
#include "quillet/clean/manifest.hpp"
#include "quillet/platform/fsops.hpp"
#include "quillet/records/json_record.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor::testing {

// Moves items into "<home>/test-trash/<n>-<name>" by rename; the rest is the real file system.
class FolderTrash : public FileOpsWrapper {
public:
    explicit FolderTrash(std::string folder) : FileOpsWrapper(FileOps::real()), folder_(std::move(folder)) {
        std::filesystem::create_directories(folder_);
    }
    Result<std::string> moveToTrash(const std::string& path) override {
        std::string to = folder_ + "/" + std::to_string(++count_) + "-" + std::filesystem::path(path).filename().string();
        Result<void> moved = rename(path, to);
        if (!moved) return moved.error();
        return to;
    }
    const std::string& folder() const { return folder_; }

private:
    std::string folder_;
    std::atomic<int> count_{0};
};

// Every entry below a folder (not the folder itself, whose time changes as things come and go):
// its bytes (or link text), mode and modification time.
struct EntryState {
    std::string bytes;
    unsigned mode = 0;
    std::int64_t mtimeNs = 0;
    bool operator==(const EntryState&) const = default;
};
using TreeState = std::map<std::string, EntryState>;

inline TreeState snapshotTree(const std::string& root) {
    TreeState state;
    std::error_code error;
    if (!std::filesystem::exists(std::filesystem::symlink_status(root))) return state;
    auto record = [&](const std::filesystem::path& path) {
        struct stat info {};
        if (::lstat(path.c_str(), &info) != 0) return;
        EntryState entry;
        entry.mode = info.st_mode;
        entry.mtimeNs = static_cast<std::int64_t>(info.st_mtim.tv_sec) * 1'000'000'000 + info.st_mtim.tv_nsec;
        if (S_ISREG(info.st_mode)) entry.bytes = readFile(path.string());
        if (S_ISLNK(info.st_mode)) entry.bytes = std::filesystem::read_symlink(path).string();
        state[std::filesystem::relative(path, root).string()] = entry;
    };
    for (auto it = std::filesystem::recursive_directory_iterator(root, error);
         it != std::filesystem::recursive_directory_iterator(); it.increment(error))
        record(it->path());
    return state;
}

// A planned target for a store at `path` claimed by `owner`, measured as it is now.
inline CleanTarget targetAt(const std::string& path, const std::string& owner, Tier tier = Tier::redownload,
                            bool verified = true) {
    CleanTarget target;
    target.rule = Rule{.owner = owner, .component = "캐시", .tier = tier, .verified = verified};
    target.path = path;
    target.stat.bytes = 1000;
    Result<PathIdentity> identity = FileOps::real().identity(path);
    if (identity) target.identity = *identity;
    return target;
}

// A store with a few files, modes and a link, old enough to be left alone by the recent-write check.
inline void makeStore(const std::string& path, const std::string& seed) {
    writeFile(path + "/a/one.bin", std::string(3000, seed[0]) + seed);
    writeFile(path + "/a/b/two.txt", "two " + seed);
    writeFile(path + "/top", seed);
    std::filesystem::create_symlink("a/one.bin", path + "/link");
    ::chmod((path + "/a/b/two.txt").c_str(), 0640);
}

// The stores "<home>/s0".."s<count-1>" and a target for each.
inline std::vector<CleanTarget> storeTargets(const TempHome& home, int count) {
    std::vector<CleanTarget> targets;
    for (int i = 0; i < count; ++i) {
        makeStore(home / ("s" + std::to_string(i)), std::to_string(i));
        targets.push_back(targetAt(home / ("s" + std::to_string(i)), "npm"));
    }
    return targets;
}

// The undo record at `path` as JSON; null when it cannot be read.
inline nlohmann::json recordAt(const std::string& path) {
    Result<JsonRecord> record = readJsonRecord(path);
    return record && record->readable() ? *record->value : nlohmann::json();
}

// The rows of the undo record at `path`.
inline std::vector<ManifestItem> rowsOf(const std::string& path) {
    std::vector<ManifestItem> rows;
    const nlohmann::json record = recordAt(path);
    for (const auto& row : record["items"]) {
        std::optional<ManifestItem> item = manifestItemFrom(row);
        EXPECT_TRUE(item) << row.dump();
        if (item) rows.push_back(*item);
    }
    return rows;
}

// What the binary's tests set for a clean in English, free of the developer's stores and shell.
inline const std::vector<std::string> ENGLISH = {"LANG=C", "LANGUAGE=", "LC_ALL=", "SHELL=/nonexistent",
                                                 "HF_HOME=", "npm_config_cache="};

}  // namespace kelvor::testing
