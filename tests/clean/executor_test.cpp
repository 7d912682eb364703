#include "quillet/clean/executor.hpp"

#include <gtest/gtest.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <random>
#include <set>

#include "quillet/clean/ballast.hpp"
#include "quillet/clean/undo.hpp"
#include "tests/clean/clean_fixture.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using namespace kelvor::testing;

// A quarantine that is a folder of the test's own.
QuarantineMove folderQuarantine(const std::string& folder) {
    fs::create_directories(folder);
    return [folder](const CleanTarget& target) -> Result<std::string> {
        std::string to = folder + "/" + fs::path(target.path).filename().string();
        Result<void> moved = FileOps::real().rename(target.path, to);
        if (!moved) return moved.error();
        return to;
    };
}

TEST(Executor, VerifiedStoresGoToTheTrashUnverifiedToTheQuarantineAndBlockedOnesStay) {
    TempHome home;
    for (const char* store : {"a", "b", "unverified", "held"}) makeStore(home / store, store);
    FolderTrash trash(home / "test-trash");
    std::vector<CleanTarget> targets = {targetAt(home / "a", "npm"), targetAt(home / "b", "Xcode", Tier::regenerate),
                                        targetAt(home / "unverified", "Pinokio", Tier::redownload, false),
                                        targetAt(home / "held", "Ollama")};
    targets[3].violations.push_back({.reason = "Ollama is running", .quitFrees = true});
    ApplyContext context{.files = &trash, .quarantine = folderQuarantine(home / "test-quarantine")};
    CleanOutcome outcome = applyCleanPlan(targets, {}, context);
    std::vector<ItemFate> fates;
    for (const auto& item : outcome.items) fates.push_back(item.fate);
    EXPECT_EQ(fates, (std::vector{ItemFate::trashed, ItemFate::trashed, ItemFate::quarantined, ItemFate::blocked}));
    EXPECT_EQ(outcome.busyBlocked(), 1);
    EXPECT_EQ(outcome.quitFreeOwners(), std::set<std::string>{"Ollama"});
    EXPECT_FALSE(fs::exists(home / "a"));
    EXPECT_TRUE(fs::exists(home / "test-quarantine/unverified/top"));
    EXPECT_TRUE(fs::exists(home / "held/top"));
    ASSERT_TRUE(outcome.manifestPath);
    EXPECT_EQ(recordAt(*outcome.manifestPath)["open"], false);
    std::vector<ManifestItem> rows = rowsOf(*outcome.manifestPath);
    ASSERT_EQ(rows.size(), 3u) << "a blocked item never enters the record";
    EXPECT_EQ(rows[0].trashedTo, outcome.items[0].destination);
    EXPECT_EQ(rows[2].action, "quarantine");
    for (const ManifestItem& row : rows) EXPECT_FALSE(row.pending);
}

TEST(Executor, ForceOverridesSoftBlocksOnlyAndSendsUnverifiedToTheTrashOnlyWithIncludeUnverified) {
    for (bool includeUnverified : {false, true}) {
        TempHome home;
        for (const char* store : {"soft", "hard", "unverified"}) makeStore(home / store, store);
        FolderTrash trash(home / "test-trash");
        std::vector<CleanTarget> targets = {targetAt(home / "soft", "npm"), targetAt(home / "hard", "npm"),
                                            targetAt(home / "unverified", "Pinokio", Tier::redownload, false)};
        targets[0].violations.push_back({.reason = "npm is running"});
        targets[1].violations.push_back({.reason = "a file is open inside", .hard = true});
        ApplyContext context{.files = &trash, .quarantine = folderQuarantine(home / "test-quarantine")};
        CleanOutcome outcome = applyCleanPlan(targets, {.force = true, .includeUnverified = includeUnverified}, context);
        EXPECT_EQ(outcome.items[0].fate, ItemFate::trashed);
        EXPECT_EQ(outcome.items[1].fate, ItemFate::blocked) << "--force does not override a hard violation";
        EXPECT_TRUE(fs::exists(home / "hard/top"));
        EXPECT_EQ(outcome.items[2].fate, includeUnverified ? ItemFate::trashed : ItemFate::quarantined);
        EXPECT_EQ(outcome.overridden, 1);
        std::vector<ManifestItem> rows = rowsOf(*outcome.manifestPath);
        ASSERT_EQ(rows.size(), 2u);
        EXPECT_TRUE(rows[0].forced);
        EXPECT_FALSE(rows[1].forced);
    }
}

TEST(Executor, AnItemReplacedSinceThePlanIsKeptAndAQuarantineThatFailsNeverFallsBackToTheTrash) {
    TempHome home;
    makeStore(home / "replaced", "r");
    makeStore(home / "review", "v");
    FolderTrash trash(home / "test-trash");
    std::vector<CleanTarget> targets = {targetAt(home / "replaced", "npm"), targetAt(home / "review", "Codex", Tier::review)};
    fs::rename(home / "replaced", home / "replaced-old");
    makeStore(home / "replaced", "new");
    ApplyContext context{.files = &trash};  // no quarantine
    CleanOutcome outcome = applyCleanPlan(targets, {}, context);
    EXPECT_EQ(outcome.items[0].fate, ItemFate::changed);
    EXPECT_EQ(outcome.items[1].fate, ItemFate::quarantineFailed);
    EXPECT_TRUE(fs::exists(home / "replaced/top"));
    EXPECT_TRUE(fs::exists(home / "review/top"));
    EXPECT_TRUE(fs::is_empty(trash.folder()));
    for (const ManifestItem& row : rowsOf(*outcome.manifestPath)) EXPECT_TRUE(row.pending);
}

TEST(Executor, OnAFullDiskTheBallastMakesRoomForTheRecordAndTheRunProceeds) {
    if (::geteuid() != 0) GTEST_SKIP() << "mounting a small file system needs root";
    TempHome outer;
    fs::create_directories(outer / "full");
    ASSERT_EQ(::mount("tmpfs", (outer / "full").c_str(), "tmpfs", 0, "size=2m"), 0);
    struct Unmount {
        std::string path;
        ~Unmount() { ::umount2(path.c_str(), MNT_DETACH); }
    } unmount{outer / "full"};
    outer.setEnv("HOME", outer / "full");
    const std::string home = outer / "full";
    makeStore(home + "/store", "s");
    Ballast ballast;
    ASSERT_TRUE(ballast.ensure());
    // Fill what is left, to the last byte.
    int filler = ::open((home + "/filler").c_str(), O_WRONLY | O_CREAT, 0600);
    ASSERT_GE(filler, 0);
    const std::string block(4096, 'f');
    while (::write(filler, block.data(), block.size()) > 0) {
    }
    while (::write(filler, "f", 1) == 1) {
    }
    ::close(filler);
    FolderTrash trash(home + "/test-trash");
    ApplyContext context{.files = &trash, .releaseBallast = [&] { return ballast.release(); }};
    CleanOutcome outcome = applyCleanPlan({targetAt(home + "/store", "npm")}, {}, context);
    EXPECT_FALSE(outcome.recordUnwritable);
    EXPECT_TRUE(outcome.ballastReleased);
    EXPECT_EQ(outcome.items[0].fate, ItemFate::trashed);
    ASSERT_TRUE(outcome.manifestPath);
    EXPECT_EQ(rowsOf(*outcome.manifestPath).size(), 1u);
}

// A clean of `targets` in a forked child, held just before its `stopBefore`-th move (1-based; 0
// holds nothing) until it is killed with SIGKILL or this ends.
struct ChildRun {
    pid_t child = -1;
    int go = -1;

    ChildRun(const std::vector<CleanTarget>& targets, FileOps& files, int stopBefore) {
        int ready[2], resume[2];
        if (::pipe(ready) != 0 || ::pipe(resume) != 0) return;
        child = ::fork();
        if (child == 0) {
            ::close(ready[0]);
            ::close(resume[1]);
            char byte = 1;
            ApplyContext context{.files = &files};
            context.onMove = [&](std::size_t done, std::size_t, const std::string&) {
                if (static_cast<int>(done) != stopBefore) return;
                if (::write(ready[1], &byte, 1) != 1 || ::read(resume[0], &byte, 1) < 0) ::_exit(3);  // on to the end
            };
            if (stopBefore == 0 && ::write(ready[1], &byte, 1) != 1) ::_exit(3);
            applyCleanPlan(targets, {}, context);
            ::_exit(0);
        }
        ::close(ready[1]);
        ::close(resume[0]);
        char byte = 0;
        if (::read(ready[0], &byte, 1) != 1) child = -1;
        ::close(ready[0]);
        go = resume[1];
    }
    ~ChildRun() {
        ::close(go);
        if (child > 0) ::waitpid(child, nullptr, 0);
    }
    void kill() { ::kill(child, SIGKILL); }
};

// Files that slow every move a little so that a random kill lands among the moves.
class SlowTrash : public FolderTrash {
public:
    using FolderTrash::FolderTrash;
    Result<std::string> moveToTrash(const std::string& path) override {
        ::usleep(1500);
        return FolderTrash::moveToTrash(path);
    }
};

TEST(Executor, ARunKilledAnywhereLeavesARecordThatUndoTakesBackWithoutLosingAByte) {
    constexpr int STORES = 5;
    std::mt19937 random{std::random_device{}()};
    // Every point between moves, then random moments of 50 runs.
    std::vector<int> stops;
    for (int stop = 1; stop <= STORES; ++stop) stops.push_back(stop);
    for (int run = 0; run < 50; ++run) stops.push_back(0);
    for (int stopBefore : stops) {
        TempHome home;
        std::vector<CleanTarget> targets = storeTargets(home, STORES);
        TreeState before = snapshotTree(home.path());
        SlowTrash trash(home / "test-trash");
        {
            ChildRun run(targets, trash, stopBefore);
            ASSERT_GT(run.child, 0);
            if (stopBefore == 0) ::usleep(std::uniform_int_distribution<useconds_t>(0, 12000)(random));
            run.kill();
        }
        std::vector<std::string> records = undoRecordsNewestFirst();
        std::set<std::string> moved;
        for (const CleanTarget& target : targets)
            if (!fs::exists(target.path)) moved.insert(target.path);
        if (stopBefore > 0) { EXPECT_EQ(moved.size(), static_cast<std::size_t>(stopBefore - 1)); }
        if (records.empty()) {
            EXPECT_TRUE(moved.empty()) << "nothing moves before the record is written";
            continue;
        }
        std::vector<ManifestItem> rows = rowsOf(records.front());
        ASSERT_EQ(rows.size(), static_cast<std::size_t>(STORES)) << "the record is whole, never half-written";
        std::set<std::string> settled;
        std::size_t pendingMoved = 0;
        for (const ManifestItem& row : rows) {
            if (!row.pending) settled.insert(row.originalPath);
            else if (moved.contains(row.originalPath)) ++pendingMoved;
        }
        if (stopBefore > 0) {
            EXPECT_EQ(settled, moved) << "the settled rows are exactly the moved items";
        } else {
            // A kill between a move and its checkpoint leaves that one move unrecorded, no more.
            for (const std::string& path : settled) EXPECT_TRUE(moved.contains(path)) << path;
            EXPECT_LE(pendingMoved, 1u);
        }
        UndoOutcome undone = runUndo(records.front(), trash);
        EXPECT_EQ(undone.restored, static_cast<int>(settled.size()));
        std::size_t neverFinished = 0;
        for (const std::string& line : undone.lines) neverFinished += line.find("never finished") != std::string::npos;
        EXPECT_EQ(neverFinished, STORES - settled.size());
        // Every byte is back in place, or (for the one unrecorded move) in the Trash.
        TreeState after = snapshotTree(home.path());
        for (const auto& [path, state] : before) {
            if (path.starts_with(".kelvor") || path.starts_with("test-trash")) continue;
            auto found = after.find(path);
            if (found != after.end()) {
                EXPECT_EQ(found->second, state) << path;
                continue;
            }
            ASSERT_GT(pendingMoved, 0u) << "lost: " << path;
        }
    }
}

TEST(Executor, TwoRunsAtOnceNeverMoveAnItemTwiceNorCorruptARecord) {
    TempHome home;
    constexpr int STORES = 6;
    std::vector<CleanTarget> targets = storeTargets(home, STORES);
    SlowTrash trash(home / "test-trash");
    std::vector<pid_t> children;
    for (int run = 0; run < 2; ++run) {
        pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            ApplyContext context{.files = &trash};
            applyCleanPlan(targets, {}, context);
            ::_exit(0);
        }
        children.push_back(child);
    }
    for (pid_t child : children) {
        int status = 0;
        ::waitpid(child, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    std::vector<std::string> records = undoRecordsNewestFirst();
    ASSERT_EQ(records.size(), 2u);
    std::multiset<std::string> settled;
    for (const std::string& record : records)
        for (const ManifestItem& row : rowsOf(record))
            if (!row.pending) settled.insert(row.originalPath);
    EXPECT_EQ(settled.size(), static_cast<std::size_t>(STORES)) << "each item moved by exactly one run";
    for (const std::string& path : settled) EXPECT_EQ(settled.count(path), 1u) << path;
    EXPECT_EQ(std::distance(fs::directory_iterator(trash.folder()), fs::directory_iterator()), STORES);
}

TEST(Executor, AnUndoWhileTheCleanRunsRefusesItsRecord) {
    TempHome home;
    std::vector<CleanTarget> targets = storeTargets(home, 2);
    FolderTrash trash(home / "test-trash");
    auto run = std::make_unique<ChildRun>(targets, trash, 2);
    ASSERT_GT(run->child, 0);
    std::vector<std::string> records = undoRecordsNewestFirst();
    ASSERT_EQ(records.size(), 1u);
    UndoOutcome named = runUndo(records.front(), trash);
    EXPECT_TRUE(named.couldNotLockRecord);
    EXPECT_EQ(named.restored, 0);
    UndoOutcome last = runUndo("last", trash);
    EXPECT_EQ(last.restored, 0) << "the running record is skipped, not half-read";
    EXPECT_FALSE(last.complete());
    EXPECT_TRUE(fs::exists(records.front())) << "the record is left as it is";
    run.reset();  // the clean goes on to its end
    UndoOutcome after = runUndo("last", trash);
    EXPECT_EQ(after.restored, 2);
    EXPECT_TRUE(after.complete());
}

}  // namespace
}  // namespace kelvor
