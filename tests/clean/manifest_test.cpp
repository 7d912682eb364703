#include "quillet/clean/manifest.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <utime.h>

#include <filesystem>
#include <regex>

#include "tests/clean/clean_fixture.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using namespace kelvor::testing;

TEST(Manifest, PlannedRowsArePendingTrashRowsWithTheParentIdentity) {
    TempHome home;
    writeFile(home / "store/x", "x");
    std::vector<ManifestItem> rows = plannedCLI({targetAt(home / "store", "Ollama", Tier::regenerate, false)});
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_TRUE(rows[0].pending);
    EXPECT_EQ(rows[0].action, "trash");
    EXPECT_EQ(rows[0].trashedTo, rows[0].originalPath);
    struct stat parent {};
    ASSERT_EQ(::lstat(home.path().c_str(), &parent), 0);
    EXPECT_EQ(rows[0].originalParentID, std::to_string(parent.st_dev) + ":" + std::to_string(parent.st_ino));
}

TEST(Manifest, ARecordIsNamedByItsTimeAndHoldsEveryKeyOfItsRows) {
    TempHome home;
    writeFile(home / "store/x", "x");
    std::vector<ManifestItem> rows = plannedCLI({targetAt(home / "store", "npm")});
    rows[0].bytes = 18'000'000'000'000'000'000ull;  // beyond a signed 64-bit number
    ManualClock clock;
    Result<std::string> path = writeManifest(rows, std::nullopt, true, clock);
    ASSERT_TRUE(path) << path.error().describe();
    EXPECT_TRUE(std::regex_match(fs::path(*path).filename().string(),
                                 std::regex(R"(2023-11-14T22-13-20Z-[0-9A-F]{8}\.json)")))
        << *path;
    EXPECT_EQ(fs::path(*path).parent_path(), fs::path(home / ".kelvor/undo"));
    nlohmann::json record = recordAt(*path);
    EXPECT_EQ(record["open"], true);
    EXPECT_EQ(record["totalBytes"].get<std::uint64_t>(), rows[0].bytes);
    std::optional<ManifestItem> back = manifestItemFrom(record["items"][0]);
    ASSERT_TRUE(back);
    EXPECT_EQ(back->bytes, rows[0].bytes);
    EXPECT_EQ(back->originalPath, rows[0].originalPath);
    // A rewrite that does not say whether the run is open keeps what the record said.
    rows[0].pending = false;
    ASSERT_TRUE(writeManifest(rows, *path, std::nullopt, clock));
    EXPECT_EQ(recordAt(*path)["open"], true);
    ASSERT_TRUE(writeManifest(rows, *path, false, clock));
    EXPECT_EQ(recordAt(*path)["open"], false);
    EXPECT_EQ(recordAt(*path)["items"][0]["pending"], false);
}

TEST(Manifest, RowsWithoutTheirPlaceOrOfTheWrongTypeAreNotRead) {
    for (const char* row : {R"({"trashedTo":"/t","action":"trash","pending":false})",
                            R"({"originalPath":"/a","trashedTo":"/t","action":"trash","pending":"no"})", "[1]"})
        EXPECT_FALSE(manifestItemFrom(nlohmann::json::parse(row))) << row;
}

TEST(Manifest, CheckpointsCloserThanAQuarterSecondWriteOnceUnlessForced) {
    TempHome home;
    writeFile(home / "store/x", "x");
    ManualClock clock;
    std::vector<ManifestItem> rows = plannedCLI({targetAt(home / "store", "npm")});
    Result<std::string> path = writeManifest(rows, std::nullopt, true, clock);
    ASSERT_TRUE(path);
    clock.advance(std::chrono::seconds(1));
    ASSERT_TRUE(checkpointManifest(rows, *path, Checkpoint::throttled, clock));
    rows[0].pending = false;
    clock.advance(std::chrono::milliseconds(100));
    ASSERT_TRUE(checkpointManifest(rows, *path, Checkpoint::throttled, clock));
    EXPECT_EQ(recordAt(*path)["items"][0]["pending"], true) << "within 0.25 s of the last: skipped";
    ASSERT_TRUE(checkpointManifest(rows, *path, Checkpoint::forced, clock));
    EXPECT_EQ(recordAt(*path)["items"][0]["pending"], false) << "forced";
    rows[0].trashedTo = "/elsewhere";
    clock.advance(std::chrono::milliseconds(300));
    ASSERT_TRUE(checkpointManifest(rows, *path, Checkpoint::throttled, clock));
    EXPECT_EQ(recordAt(*path)["items"][0]["trashedTo"], "/elsewhere");
}

TEST(Manifest, PruningDeletesOnlyRetiredRecordsPastNinetyDays) {
    TempHome home;
    fs::create_directories(home / ".kelvor/undo");
    const auto now = std::chrono::system_clock::now();
    auto age = [&](const std::string& path, std::int64_t days) {
        writeFile(path, "{}");
        std::time_t when = std::chrono::system_clock::to_time_t(now) - days * 86400;
        struct utimbuf times {when, when};
        ::utime(path.c_str(), &times);
    };
    age(home / ".kelvor/undo/old.done.json", 91);
    age(home / ".kelvor/undo/recent.done.json", 89);
    age(home / ".kelvor/undo/old-open.json", 400);
    EXPECT_EQ(pruneConsumedManifests(now), 1);
    EXPECT_FALSE(fs::exists(home / ".kelvor/undo/old.done.json"));
    EXPECT_TRUE(fs::exists(home / ".kelvor/undo/recent.done.json"));
    EXPECT_TRUE(fs::exists(home / ".kelvor/undo/old-open.json")) << "a record not taken back is never pruned";
}

TEST(Manifest, AParentThatBecameALinkIsSeen) {
    TempHome home;
    writeFile(home / "projects/cache/x", "x");
    writeFile(home / "elsewhere/keep", "x");
    std::string recorded = parentID(home / "projects/cache");
    EXPECT_FALSE(restoreParentIsLink(recorded, home / "projects/cache"));
    fs::rename(home / "projects", home / "projects-moved");
    fs::create_directory_symlink(home / "elsewhere", home / "projects");
    EXPECT_TRUE(restoreParentIsLink(recorded, home / "projects/cache"));
    // A link further up leads the same spelling into another folder.
    fs::remove(home / "projects");
    fs::create_directories(home / "real/projects");
    fs::create_directory_symlink(home / "real", home / "up");
    EXPECT_TRUE(restoreParentIsLink(recorded, home / "up/projects/cache"));
}

TEST(Manifest, PayloadIsPresentWhileEveryMovedRowIsWhereTheRecordSays) {
    TempHome home;
    writeFile(home / "moved/x", "x");
    ManifestItem moved;
    moved.originalPath = home / "store";
    moved.trashedTo = home / "moved";
    moved.pending = false;
    ManifestItem planned;
    planned.originalPath = home / "never-moved";
    planned.trashedTo = planned.originalPath;
    Result<std::string> path = writeManifest({moved, planned}, std::nullopt, false);
    ASSERT_TRUE(path);
    EXPECT_TRUE(manifestPayloadPresent(*path));
    fs::remove_all(home / "moved");
    EXPECT_FALSE(manifestPayloadPresent(*path));
}

}  // namespace
}  // namespace kelvor
