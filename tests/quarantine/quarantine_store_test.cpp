#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <regex>

#include "quillet/clean/moved_mark.hpp"
#include "quillet/clean/trash_move.hpp"
#include "quillet/platform/trash.hpp"
#include "quillet/quarantine/quarantine_store.hpp"
#include "tests/support/run_kelvor.hpp"
#include "tests/support/scoped_mount.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using testing::readFile;
using testing::TempHome;
using testing::writeFile;

constexpr auto DAY = std::chrono::hours(24);

Result<std::string> hold(const std::string& path, WallClock::time_point when = WallClock::now()) {
    Result<PathIdentity> identity = FileOps::real().identity(path);
    EXPECT_TRUE(identity) << path;
    return quarantineItem("pip", "Wheel cache", path, 4, identity ? *identity : PathIdentity{}, when);
}

// Holds a new folder "<home>/<name>" with one file "x"; "" when refused.
std::string holdNew(const TempHome& home, const std::string& name = "cache",
                    WallClock::time_point when = WallClock::now()) {
    writeFile(home / (name + "/x"), "x");
    Result<std::string> held = hold(home / name, when);
    EXPECT_TRUE(held) << held.error().describe();
    return held ? *held : "";
}

TEST(QuarantineStore, HoldsEachItemUnderAFreshNameWithItsRow) {
    TempHome home;
    writeFile(home / "a/cache/wheel", "one");
    writeFile(home / "b/cache/wheel", "two");
    Result<std::string> first = hold(home / "a/cache");
    Result<std::string> second = hold(home / "b/cache");
    ASSERT_TRUE(first && second);
    EXPECT_NE(*first, *second);
    std::regex shape(std::regex_replace(QUARANTINE_DIR(), std::regex("[.]"), "\\.") + "/[0-9a-f]{8}-cache");
    EXPECT_TRUE(std::regex_match(*first, shape)) << *first;
    EXPECT_EQ(readFile(*first + "/wheel"), "one");
    EXPECT_FALSE(fs::exists(home / "a/cache"));
    EXPECT_EQ(fs::status(QUARANTINE_DIR()).permissions() & fs::perms::all, fs::perms::owner_all)
        << "nobody else may list what is held";
    std::vector<QuarantineEntry> active = quarantineActive();
    ASSERT_EQ(active.size(), 2u);
    EXPECT_EQ(active[0].originalPath, home / "a/cache");
    EXPECT_FALSE(active[0].pending.value_or(false)) << "the pending mark is cleared once the item is held";
    EXPECT_TRUE(quarantineOrphans().empty());
}

TEST(QuarantineStore, RefusesWhatItMustNotHoldOrCannotRecord) {
    TempHome home;
    writeFile(home / "cache", "x");
    writeFile(home / "other", "y");
    Result<PathIdentity> other = FileOps::real().identity(home / "other");
    ASSERT_TRUE(other);
    EXPECT_FALSE(quarantineItem("pip", "Wheel cache", home / "cache", 1, *other)) << "not the item measured";
    EXPECT_TRUE(fs::exists(home / "cache"));
    writeFile(home / ".kelvor/undo/run.json", "{}");
    Result<std::string> own = hold(home / ".kelvor/undo");
    ASSERT_FALSE(own);
    EXPECT_EQ(own.error().context, "this is Kelvor's own recovery state — it is never a cleanup target");
    EXPECT_TRUE(fs::exists(home / ".kelvor/undo/run.json"));
    fs::create_directories(LEDGER_PATH());  // a folder where the ledger file should be
    Result<std::string> unrecorded = hold(home / "cache");
    ASSERT_FALSE(unrecorded);
    EXPECT_EQ(unrecorded.error().context,
              "the quarantine record could not be written — left in place rather than sent to the Trash instead");
    EXPECT_EQ(readFile(home / "cache"), "x");
}

TEST(QuarantineStore, AnItemReachedThroughALinkedFolderIsRecordedByItsRealPlace) {
    TempHome home;
    writeFile(home / "real/cache/x", "x");
    fs::create_directory_symlink(home / "real", home / "via");
    Result<std::string> held = hold(home / "via/cache");
    ASSERT_TRUE(held);
    EXPECT_EQ(quarantineActive().at(0).originalPath, home / "real/cache");
    EXPECT_TRUE(fs::is_symlink(home / "via")) << "the link itself is left alone";
}

TEST(QuarantineStore, ReleasesToTheTrashOnlyAfterTheWindowAndNeverAnOrphan) {
    TempHome home;
    writeFile(home / ".kelvor/defaults.json", R"({"kelvor.quarantineDays": 3})");
    auto start = WallClock::now();
    std::string held = holdNew(home, "models", start);
    std::string orphan = QUARANTINE_DIR() + "/deadbeef-lost";
    writeFile(orphan, "lost");
    EXPECT_EQ(quarantineOrphans(), std::vector<std::string>{orphan});
    EXPECT_EQ(processQuarantine(start + 2 * DAY).released, 0u);
    EXPECT_TRUE(fs::exists(held));
    SweepOutcome sweep = processQuarantine(start + 3 * DAY + std::chrono::minutes(1));
    EXPECT_EQ(sweep.released, 1u);
    EXPECT_FALSE(fs::exists(held));
    std::optional<std::string> destination = quarantineReleasedDestination(held);
    ASSERT_TRUE(destination);
    EXPECT_EQ(readFile(*destination + "/x"), "x");
    // The Trash's record and Kelvor's mark both name the item's own place: a desktop Restore
    // takes it home and a later discard can be proven.
    EXPECT_EQ(trashRecordOrigin(*destination), home / "models");
    EXPECT_FALSE(verifyDiscard(*destination, home / "models").refusal);
    EXPECT_TRUE(quarantineActive().empty());
    EXPECT_TRUE(readFile(LEDGER_PATH()).empty()) << "the finished row was compacted away";
    EXPECT_NE(readFile(LEDGER_ARCHIVE_PATH()).find("\"released\":true"), std::string::npos);
    EXPECT_EQ(processQuarantine(start + 100 * DAY).released, 0u);
    EXPECT_EQ(readFile(orphan), "lost");
}

TEST(QuarantineStore, TheSweepWaitsWhileTheLedgerIsBusy) {
    TempHome home;
    std::string held = holdNew(home, "cache", WallClock::now() - 30 * DAY);
    {
        Result<FileLock> busy = lockLedger();
        ASSERT_TRUE(busy);
        EXPECT_EQ(processQuarantine().released, 0u);
        EXPECT_TRUE(fs::exists(held)) << "nothing moves without the lock";
    }
    EXPECT_EQ(processQuarantine().released, 1u);
}

TEST(QuarantineStore, AnItemTrashedByHandIsRecordedAsReleased) {
    TempHome home;
    std::string held = holdNew(home);
    Result<TrashMove> byHand = moveToTrash(held, "2026-11-22T06:00:00");
    ASSERT_TRUE(byHand);
    EXPECT_EQ(processQuarantine().released, 1u);
    EXPECT_EQ(quarantineReleasedDestination(held), byHand->destination);
}

TEST(QuarantineStore, ADamagedLineSurvivesCompactionAndIsCounted) {
    TempHome home;
    std::string held = holdNew(home);
    writeFile(LEDGER_PATH(), readFile(LEDGER_PATH()) + "{\"originalPath\": broken\n");
    EXPECT_EQ(quarantineLedgerDamage(), 1u);
    ASSERT_TRUE(restoreQuarantine());
    Result<FileLock> lock = lockLedger();
    ASSERT_TRUE(lock);
    ASSERT_TRUE(compactLedgerLocked(readLedger()));
    EXPECT_EQ(readFile(LEDGER_PATH()), "{\"originalPath\": broken\n");
    EXPECT_EQ(quarantineLedgerDamage(), 1u);
    EXPECT_TRUE(quarantineWasRestored(held)) << "the restored row is in the archive";
}

TEST(QuarantineStore, RestoreOntoATakenPathLandsBesideAndSaysSo) {
    TempHome home;
    writeFile(home / "proj/build/out", "old");
    Result<std::string> held = hold(home / "proj/build");
    ASSERT_TRUE(held);
    writeFile(home / "proj/build/out", "rebuilt");
    std::optional<RestoreOutcome> outcome = restoreQuarantine();
    ASSERT_TRUE(outcome);
    EXPECT_TRUE(outcome->restored);
    EXPECT_EQ(outcome->message, "  ↩ restored beside what is at its place now: " + home / "proj/build (restored)");
    EXPECT_EQ(readFile(home / "proj/build/out"), "rebuilt");
    EXPECT_EQ(readFile(home / "proj/build (restored)/out"), "old");
    EXPECT_EQ(quarantineRestoredBeside(*held), home / "proj/build (restored)");
    EXPECT_FALSE(restoreQuarantine()) << "nothing is left to restore";
}

TEST(QuarantineStore, RestoreRefusesWhatItCannotDoSafely) {
    TempHome home;
    std::string held = holdNew(home, "proj/cache");
    fs::rename(home / "proj", home / "moved-away");
    fs::create_directory_symlink(home / "moved-away", home / "proj");
    std::optional<RestoreOutcome> linked = restoreQuarantine(held);
    ASSERT_TRUE(linked);
    EXPECT_FALSE(linked->restored);
    EXPECT_TRUE(linked->message.starts_with("  ⚠ the folder it came out of is now a link — not restoring it:"));
    EXPECT_TRUE(fs::exists(held));
    fs::remove(home / "proj");
    fs::rename(held, home / "elsewhere");
    std::optional<RestoreOutcome> gone = restoreQuarantine(held);
    EXPECT_EQ(gone->message, "the quarantined copy is not there any more");
    EXPECT_EQ(restoreQuarantine(QUARANTINE_DIR() + "/nope")->message, "no quarantine record for that item");
}

TEST(QuarantineStore, AReleasedEntryComesBackFromTheTrashOnlyWhenTheSpotStillHoldsIt) {
    TempHome home;
    auto start = WallClock::now() - 10 * DAY;
    writeFile(home / "keep/a.bin", "a");
    writeFile(home / "keep/b.bin", "b");
    Result<std::string> a = hold(home / "keep/a.bin", start);
    Result<std::string> b = hold(home / "keep/b.bin", start);
    ASSERT_TRUE(a && b);
    ASSERT_EQ(processQuarantine().released, 2u);
    std::string aInTrash = *quarantineReleasedDestination(*a), bInTrash = *quarantineReleasedDestination(*b);
    RestoreOutcome back = restoreReleasedQuarantine(home / "keep/a.bin", *a);
    EXPECT_TRUE(back.restored) << back.message;
    EXPECT_EQ(readFile(home / "keep/a.bin"), "a");
    EXPECT_FALSE(fs::exists(aInTrash));
    EXPECT_TRUE(quarantineWasRestored(*a));
    EXPECT_EQ(restoreReleasedQuarantine(home / "keep/a.bin", *a).message, "no released record for this item");
    // Someone swapped the entry at that spot for another file.
    fs::remove(bInTrash);
    writeFile(bInTrash, "impostor");
    EXPECT_EQ(restoreReleasedQuarantine(home / "keep/b.bin", *b).message,
              "the file at that spot in the Trash is not the one this record names");
    fs::remove(bInTrash);
    EXPECT_EQ(restoreReleasedQuarantine(home / "keep/b.bin", *b).message,
              "no longer in the Trash — it may have been emptied");
    EXPECT_FALSE(fs::exists(home / "keep/b.bin"));
}

TEST(QuarantineStore, EarlyReleaseAndDiscard) {
    TempHome home;
    std::string first = holdNew(home, "one"), second = holdNew(home, "two");
    std::string line = releaseQuarantineNow(first);
    EXPECT_TRUE(line.starts_with("released to the Trash: ")) << line;
    EXPECT_TRUE(quarantineReleasedDestination(first));
    EXPECT_TRUE(markQuarantineDiscarded(second));
    EXPECT_FALSE(fs::exists(second));
    EXPECT_TRUE(quarantineActive().empty());
    EXPECT_FALSE(markQuarantineDiscarded(second)) << "a row is discarded once";
}

TEST(QuarantineStore, AnItemOnAnotherFileSystemIsHeldOnItsOwn) {
    TempHome home;
    fs::create_directories(home / "disk");
    testing::ScopedMount disk = testing::ScopedMount::tmpfs(home / "disk");
    if (!disk.mounted()) GTEST_SKIP() << "mounting needs root";
    std::string held = holdNew(home, "disk/data");
    EXPECT_EQ(fs::path(held).parent_path(), home / ("disk/.kelvor-quarantine-" + std::to_string(::getuid())));
    std::optional<RestoreOutcome> back = restoreQuarantine();
    ASSERT_TRUE(back && back->restored) << (back ? back->message : "");
    EXPECT_EQ(readFile(home / "disk/data/x"), "x");
}

TEST(QuarantineStore, TheModeSweepsReportsAndRestores) {
    TempHome home;
    testing::RunOutput empty = testing::runKelvorBinary({"--mode", "quarantine", "--undo", "last"});
    EXPECT_EQ(empty.status, 0);
    EXPECT_EQ(empty.out, "nothing to restore\n");
    std::string old = holdNew(home, "old", WallClock::now() - 8 * DAY);
    holdNew(home);
    writeFile(LEDGER_PATH(), readFile(LEDGER_PATH()) + "garbage\n");
    writeFile(QUARANTINE_DIR() + "/cafebabe-stray", "s");
    testing::RunOutput report = testing::runKelvorBinary({"--mode", "quarantine"});
    EXPECT_EQ(report.status, 0);
    EXPECT_FALSE(fs::exists(old)) << "the sweep runs at start-up";
    EXPECT_TRUE(quarantineReleasedDestination(old)) << report.out;
    EXPECT_NE(report.out.find("Quarantine — unproven deletions under observation (7-day window)"), std::string::npos)
        << report.out;
    EXPECT_NE(report.out.find("pip · Wheel cache"), std::string::npos) << report.out;
    EXPECT_NE(report.out.find("  ⚠ 1 ledger line(s) unreadable"), std::string::npos) << report.out;
    EXPECT_NE(report.out.find(QUARANTINE_DIR() + "/cafebabe-stray"), std::string::npos) << report.out;
    EXPECT_NE(report.out.find("  restore: kelvor --mode quarantine --undo last"), std::string::npos);
    testing::RunOutput undo = testing::runKelvorBinary({"--mode", "quarantine", "--undo", "last"});
    EXPECT_EQ(undo.status, 0);
    EXPECT_EQ(undo.out, "  ↩ restored: " + home / "cache" + "\n");
    EXPECT_EQ(readFile(home / "cache/x"), "x");
    EXPECT_NE(readFile(LEDGER_PATH()).find("garbage\n"), std::string::npos);
}

}  // namespace
}  // namespace kelvor
