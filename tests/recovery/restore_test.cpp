#include "quillet/recovery/restorable.hpp"

#include <gtest/gtest.h>

#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "quillet/clean/manifest.hpp"
#include "quillet/clean/moved_mark.hpp"
#include "quillet/platform/home.hpp"
#include "quillet/platform/trash.hpp"
#include "quillet/quarantine/ledger.hpp"
#include "quillet/quarantine/quarantine_store.hpp"
#include "tests/support/run_kelvor.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using testing::readFile;
using testing::runKelvorBinary;
using testing::TempHome;
using testing::writeFile;

testing::RunOutput restore(const std::vector<std::string>& extra = {}) { return testing::runKelvorMode("restore", extra); }

std::string isoNow() {
    std::time_t now = std::time(nullptr);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", std::gmtime(&now));
    return text;
}

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

// An older clean that moved `path` to the Trash, recorded as a finished undo record.
std::string trashWithRecord(const std::string& path, const std::string& when) {
    Result<TrashMove> moved = moveToTrash(path, when.substr(0, 19));
    EXPECT_TRUE(moved.ok());
    EXPECT_TRUE(markMoved(moved.value().destination, path, WallClock::now()).ok());
    ManifestItem item;
    item.owner = "Cargo";
    item.component = "build output";
    item.originalPath = path;
    item.trashedTo = moved.value().destination;
    item.bytes = 11;
    item.pending = false;
    nlohmann::json record = {{"version", 1}, {"when", when}, {"items", {manifestItemJson(item)}}};
    writeFile(undoDir() + "/20260101T000000Z-test.json", record.dump());
    return item.trashedTo;
}

// A newer clean that quarantined `path`: its copy held in the quarantine folder and its ledger row.
void quarantineWithRow(const std::string& path) {
    QuarantineEntry entry;
    entry.originalPath = path;
    entry.quarantinePath = QUARANTINE_DIR() + "/" + fs::path(path).filename().string();
    entry.owner = "Tool";
    entry.component = "cache";
    entry.bytes = 5;
    entry.when = isoNow();
    fs::create_directories(QUARANTINE_DIR());
    fs::rename(path, entry.quarantinePath);
    writeFile(LEDGER_PATH(), ledgerLine(entry) + "\n");
}

struct TwoCleans {
    TempHome home;
    std::string trashed = home / "project/target";
    std::string quarantined = home / "project/cache";
    std::string inTrash;

    TwoCleans() {
        writeFile(trashed + "/app.bin", std::string("hello\0world", 11));
        writeFile(quarantined + "/c.dat", "bytes");
        inTrash = trashWithRecord(trashed, "2026-01-01T00:00:00Z");
        quarantineWithRow(quarantined);
    }
};

TEST(RestoreCentre, ListsEveryMovedItemOnceMostRecentFirst) {
    TwoCleans cleans;
    std::vector<RestorableItem> rows = recoveryItems(RECOVERY_LIST_LIMIT);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].originalPath, cleans.quarantined);
    EXPECT_EQ(rows[0].kind, RecoveryKind::quarantined);
    EXPECT_EQ(rows[1].originalPath, cleans.trashed);
    EXPECT_EQ(rows[1].kind, RecoveryKind::trashed);
    EXPECT_TRUE(rows[1].payloadPresent);

    auto listed = restore();
    EXPECT_EQ(listed.status, 0) << listed.err;
    EXPECT_TRUE(contains(listed.out, "Restore centre — recorded ways back (these outlive the Trash)\n")) << listed.out;
    std::size_t first = listed.out.find("  1. [Quarantined] " + cleans.quarantined);
    std::size_t second = listed.out.find("  2. [In Trash] " + cleans.trashed);
    ASSERT_NE(first, std::string::npos) << listed.out;
    ASSERT_NE(second, std::string::npos) << listed.out;
    EXPECT_TRUE(contains(listed.out.substr(first, second - first), "restores in place · moves to the Trash in "));
    EXPECT_TRUE(contains(listed.out.substr(second), "one undo puts it back"));
}

TEST(RestoreCentre, RestoresTheNumberedRowByteForByte) {
    TwoCleans cleans;
    auto run = restore({"--path", "2"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(contains(run.out, "  restored 1, failed 0\n")) << run.out;
    EXPECT_EQ(readFile(cleans.trashed + "/app.bin"), std::string("hello\0world", 11));
    EXPECT_FALSE(fs::exists(cleans.inTrash));
    EXPECT_FALSE(fs::exists(cleans.quarantined));

    auto quarantined = restore({"--path", "cache"});
    EXPECT_EQ(quarantined.status, 0) << quarantined.err;
    EXPECT_EQ(readFile(cleans.quarantined + "/c.dat"), "bytes");
    EXPECT_TRUE(contains(restore().out, "nothing to restore")) << restore().out;
}

TEST(RestoreCentre, AFragmentNamingTwoRowsIsRefusedWithTheirNumbers) {
    TwoCleans cleans;
    auto run = restore({"--path", "project"});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.err, "✗ project names 2 rows — use the number shown: 1, 2\n");
    EXPECT_TRUE(fs::exists(cleans.inTrash));
    EXPECT_FALSE(fs::exists(cleans.trashed));
}

TEST(RestoreCentre, ARowEmptiedFromTheTrashFailsAndSaysSo) {
    TwoCleans cleans;
    fs::remove_all(cleans.inTrash);
    auto listed = restore();
    const std::string today = isoNow().substr(0, 10);
    EXPECT_TRUE(contains(listed.out, "gone — not where the record says since " + today)) << listed.out;
    // The date first seen is kept: a later listing shows the same one, not a new one.
    nlohmann::json seen = nlohmann::json::parse(readFile(dataDir() + "/gone-seen.json"));
    ASSERT_EQ(seen.size(), 1u);
    seen[seen.begin().key()] = "2026-02-03T04:05:06Z";
    writeFile(dataDir() + "/gone-seen.json", seen.dump());
    EXPECT_TRUE(contains(restore().out, "since 2026-02-03")) << restore().out;
    auto run = restore({"--path", "2"});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(contains(run.err, "not in the Trash any more")) << run.err;
    EXPECT_TRUE(contains(run.out, "  restored 0, failed 1\n"));
}

TEST(RestoreCentre, NeverReplacesWhatNowStandsAtTheOriginalPlace) {
    TwoCleans cleans;
    writeFile(cleans.trashed + "/new.txt", "rebuilt");
    auto run = restore({"--path", "2"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(readFile(cleans.trashed + "/new.txt"), "rebuilt");
    EXPECT_EQ(readFile(cleans.inTrash + "/app.bin"), std::string("hello\0world", 11));
}

TEST(RestoreCentre, DiscardEmptiesExactlyThatRowFromTheTrash) {
    TwoCleans cleans;
    writeFile(homeTrashFolder() + "/files/other.txt", "someone else's");
    auto run = restore({"--path", "2", "--discard"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_FALSE(fs::exists(cleans.inTrash));
    EXPECT_EQ(readFile(homeTrashFolder() + "/files/other.txt"), "someone else's");
    EXPECT_EQ(readFile(QUARANTINE_DIR() + "/cache/c.dat"), "bytes");
    EXPECT_FALSE(contains(restore().out, cleans.trashed));
}

TEST(RestoreCentre, DiscardRefusesATrashEntryKelvorDidNotMove) {
    TwoCleans cleans;
    // Another program emptied the entry and something else now stands under its name.
    fs::remove_all(cleans.inTrash);
    writeFile(cleans.inTrash + "/app.bin", "not ours");
    auto run = restore({"--path", "2", "--discard"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(readFile(cleans.inTrash + "/app.bin"), "not ours");
}

}  // namespace
}  // namespace kelvor
