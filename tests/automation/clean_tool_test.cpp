// The clean tool's planner and executor on stores in a temporary home, with a process table the
// test presents.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

#include "quillet/automation/clean_tool.hpp"
#include "quillet/automation/levels.hpp"
#include "tests/guards/fake_process_table.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;

void ageTree(const std::string& root) {
    auto old = fs::file_time_type::clock::now() - std::chrono::hours(3);
    for (const auto& entry : fs::recursive_directory_iterator(root))
        if (!entry.is_symlink()) fs::last_write_time(entry.path(), old);
    fs::last_write_time(root, old);
}

// A store of `bytes` bytes at home/<name>, aged, as a hit of a rule of the given kind.
Hit storeHit(const testing::TempHome& home, const std::string& name, Tier tier, bool verified, Burden burden,
             std::uint64_t bytes, const std::string& owner = "Tool") {
    testing::writeFile(home / (name + "/data"), std::string(bytes, 'x'));
    ageTree(home / name);
    Hit hit;
    hit.rule = Rule{.owner = owner, .component = name, .tier = tier, .verified = verified, .burden = burden};
    hit.path = home / name;
    hit.stat.bytes = bytes;
    return hit;
}

struct Stores {
    testing::TempHome home;
    std::vector<Hit> hits;
    Stores() {
        hits = {storeHit(home, "one", Tier::redownload, true, Burden::transparent, 1000),
                storeHit(home, "two", Tier::regenerate, true, Burden::interruptive, 3000),
                storeHit(home, "three", Tier::redownload, false, Burden::transparent, 2000),
                storeHit(home, "yours", Tier::review, true, Burden::transparent, 5000),
                storeHit(home, "guarded", Tier::protected_, true, Burden::transparent, 6000)};
    }
};

testing::FakeProcessTable quietTable() {
    testing::FakeProcessTable table;
    table.procs = std::vector<Proc>{{.pid = 1, .ppid = 0, .path = "/sbin/init", .args = "/sbin/init"}};
    return table;
}

std::vector<std::string> pathsOf(const std::vector<PlanRow>& rows) {
    std::vector<std::string> paths;
    for (const PlanRow& row : rows) paths.push_back(row.hit.path);
    return paths;
}

TEST(ChooseTargets, EachCapReachesItsLevelsAndTheOwnFilesNeverAtAll) {
    Stores stores;
    testing::FakeProcessTable table = quietTable();
    const std::string& home = stores.home.path();
    const std::vector<std::vector<std::string>> expected = {
        {home + "/one"}, {home + "/two", home + "/one"}, {home + "/two", home + "/three", home + "/one"}};
    for (int cap = 1; cap <= 3; ++cap) {
        TargetChoice choice = chooseTargets(stores.hits, {}, cap, table);
        EXPECT_EQ(pathsOf(choice.targets), expected[static_cast<std::size_t>(cap - 1)]) << "cap " << cap;
        EXPECT_EQ(choice.refused.size(), 5u - expected[static_cast<std::size_t>(cap - 1)].size()) << "cap " << cap;
        for (const PlanRow& row : choice.targets) EXPECT_TRUE(row.identity) << row.hit.path;
    }
    // Naming the person's own files by key does not bring them in either.
    std::vector<std::string> keys;
    for (const Hit& hit : stores.hits) keys.push_back(itemKey(hit.rule.owner, hit.path));
    TargetChoice named = chooseTargets(stores.hits, keys, 3, table);
    for (const PlanRow& row : named.targets) EXPECT_LE(row.hit.rule.tier, Tier::regenerate) << row.hit.path;
    ASSERT_EQ(named.refused.size(), 2u);
    EXPECT_EQ(named.refused[0]["reason"], "level 4 — tier C, your own files; no max_level reaches this, decide in the app");
    EXPECT_EQ(named.refused[1]["reason"], "level 4 — protected; never offered, on any surface");
}

TEST(ChooseTargets, KeysNarrowThePlanAndUnknownKeysAreReportedMissing) {
    Stores stores;
    testing::FakeProcessTable table = quietTable();
    const std::string wanted = itemKey("Tool", stores.home / "two");
    TargetChoice choice = chooseTargets(stores.hits, {wanted, "nothing:000000000000"}, 1, table);
    EXPECT_TRUE(choice.targets.empty());
    ASSERT_EQ(choice.refused.size(), 1u);
    EXPECT_EQ(choice.refused[0]["key"], wanted);
    EXPECT_NE(choice.refused[0]["reason"].get<std::string>().find("max_level:2"), std::string::npos);
    EXPECT_EQ(choice.missing, std::vector<std::string>{"nothing:000000000000"});
}

TEST(ChooseTargets, RowsHeldByTheGuardsAreNotPlannedAndOnlyTheRunningOwnerCountsAsReleasable) {
    testing::TempHome home;
    std::vector<Hit> hits = {storeHit(home, "npm-cache", Tier::redownload, true, Burden::transparent, 4000, "npm"),
                             storeHit(home, "fresh", Tier::redownload, true, Burden::transparent, 2000)};
    testing::writeFile(home / "fresh/new", "written just now");
    testing::FakeProcessTable table = quietTable();
    table.procs->push_back({.pid = 20, .ppid = 1, .path = "/usr/bin/npm", .args = "npm install"});
    TargetChoice choice = chooseTargets(hits, {}, 1, table);
    EXPECT_TRUE(choice.targets.empty());
    ASSERT_EQ(choice.held.size(), 2u);
    EXPECT_EQ(choice.heldBytes, 6000u);
    EXPECT_EQ(choice.heldByRunningOwner, (std::map<std::string, std::uint64_t>{{"npm", 4000}}));
    const std::string note = capNote(choice);
    EXPECT_NE(note.find("2 row(s) at this level, 6.0 KB, are NOT in the plan;"), std::string::npos) << note;
    EXPECT_NE(note.find("4.0 KB of it is held only because npm is running: tell the person"), std::string::npos)
        << note;
}

TEST(ChooseTargets, AnUnreadableProcessTableHoldsEveryRow) {
    Stores stores;
    testing::FakeProcessTable table;
    table.procs.reset();
    TargetChoice choice = chooseTargets(stores.hits, {}, 3, table);
    EXPECT_TRUE(choice.targets.empty());
    EXPECT_EQ(choice.held.size(), 3u);
}

TEST(CleanPlanResponse, MaxLevelFourIsLoweredAndThePlanIsStoredWithItsToken) {
    Stores stores;
    testing::FakeProcessTable table = quietTable();
    ManualClock clock;
    PlanStore store(clock);
    ToolOutcome outcome = cleanPlanResponse(stores.hits, {}, 4, Disposal::trash, store, table);
    EXPECT_FALSE(outcome.isError);
    EXPECT_EQ(outcome.payload["max_level"], 3);
    EXPECT_NE(outcome.payload["max_level_note"].get<std::string>().find("lowered to 3"), std::string::npos);
    EXPECT_EQ(outcome.payload["rows"].size(), 3u);
    EXPECT_EQ(outcome.payload["total_bytes"], 6000);
    EXPECT_EQ(outcome.payload["expires_in_seconds"], 900);
    const std::string briefing = outcome.payload["for_the_assistant"];
    EXPECT_TRUE(briefing.starts_with("This is a PLAN, not an action. Nothing on this disk has been touched."));
    EXPECT_EQ(briefing.find("cannot be undone"), std::string::npos) << briefing;
    PlanTake taken = store.take(outcome.payload["plan_token"], PlanKind::clean);
    ASSERT_TRUE(taken.plan) << taken.refusal;
    EXPECT_EQ(taken.plan->maxLevel, 3);
    EXPECT_EQ(taken.plan->rows.size(), 3u);
}

TEST(CleanPlanResponse, ADeletePlanAsksToSayItCannotBeUndoneAndAnEmptyPlanIssuesNoToken) {
    Stores stores;
    testing::FakeProcessTable table = quietTable();
    ManualClock clock;
    PlanStore store(clock);
    ToolOutcome deleting = cleanPlanResponse(stores.hits, {}, 1, Disposal::delete_, store, table);
    EXPECT_NE(deleting.payload["for_the_assistant"].get<std::string>().find(
                  "Say plainly that this cannot be undone, and name the rows that nothing brings back, BEFORE you ask."),
              std::string::npos);
    EXPECT_EQ(deleting.payload["disposal"], "delete");

    std::vector<Hit> ownOnly = {stores.hits[3], stores.hits[4]};
    ToolOutcome empty = cleanPlanResponse(ownOnly, {}, 3, Disposal::trash, store, table);
    EXPECT_EQ(empty.payload["status"], "nothing_to_do");
    EXPECT_FALSE(empty.payload.contains("plan_token"));
    EXPECT_TRUE(empty.payload["for_the_assistant"].get<std::string>().starts_with("Nothing here matches."));
    EXPECT_EQ(store.size(), 1u);
}

TEST(CleanExecute, DeleteEmptiesExactlyTheRowsItMovedAndNothingElseInTheTrash) {
    Stores stores;
    testing::FakeProcessTable table = quietTable();
    ManualClock clock;
    PlanStore store(clock);
    const std::string others = stores.home / ".local/share/Trash/files/persons-own";
    testing::writeFile(others, "kept");
    ToolOutcome planned = cleanPlanResponse(stores.hits, {}, 2, Disposal::delete_, store, table);
    PlanTake taken = store.take(planned.payload["plan_token"], PlanKind::clean);
    ASSERT_TRUE(taken.plan);
    ToolOutcome done = cleanExecute(*taken.plan, table);
    EXPECT_FALSE(done.isError) << done.payload.dump();
    EXPECT_EQ(done.payload["status"], "deleted") << done.payload.dump();
    EXPECT_EQ(done.payload["for_the_assistant"], "Done, and the space is back: 4.0 KB. This cannot be undone.");
    EXPECT_FALSE(done.payload.contains("partially_emptied")) << done.payload.dump();
    for (const Json& moved : done.payload["moved"]) EXPECT_FALSE(fs::exists(moved["moved_to"].get<std::string>()));
    EXPECT_FALSE(fs::exists(stores.home / "one"));
    EXPECT_FALSE(fs::exists(stores.home / "two"));
    EXPECT_TRUE(fs::exists(stores.home / "three/data"));
    EXPECT_EQ(testing::readFile(others), "kept");
}

TEST(CleanExecute, APlanWhoseRowsAllChangedMovesNothing) {
    Stores stores;
    testing::FakeProcessTable table = quietTable();
    ManualClock clock;
    PlanStore store(clock);
    ToolOutcome planned = cleanPlanResponse(stores.hits, {}, 1, Disposal::trash, store, table);
    fs::remove_all(stores.home / "one");
    PlanTake taken = store.take(planned.payload["plan_token"], PlanKind::clean);
    ASSERT_TRUE(taken.plan);
    ToolOutcome done = cleanExecute(*taken.plan, table);
    EXPECT_EQ(done.payload["status"], "nothing_moved");
    EXPECT_EQ(done.payload["dropped"][0]["reason"], "it is no longer there — nothing was removed for this row");
    EXPECT_FALSE(fs::exists(stores.home / ".kelvor/undo")) << "no record for a run that moves nothing";
}

TEST(ToolClean, ATokenUsed901SecondsAfterPlanningIsRefusedAsExpiredAndThenUnknown) {
    testing::TempHome home;
    testing::writeFile(home / ".npm/_cacache/content-v2/x", std::string(30000, 'n'));
    ageTree(home / ".npm");
    ManualClock clock;
    PlanStore store(clock);
    OperationContext context;
    ToolOutcome planned = toolClean(Json{{"max_level", 1}, {"disposal", "trash"}}, context, store);
    ASSERT_EQ(planned.payload["status"], "plan") << planned.payload.dump();
    const Json execute{{"plan_token", planned.payload["plan_token"]}};
    clock.advance(std::chrono::seconds(901));
    ToolOutcome late = toolClean(execute, context, store);
    EXPECT_TRUE(late.isError);
    EXPECT_EQ(late.payload["error"], "plan_token refused");
    EXPECT_EQ(late.payload["reason"], "plan_token expired after 900s — ask for a fresh plan and show it again");
    EXPECT_EQ(late.payload["for_the_assistant"],
              "The approval could not be used. Ask for a fresh plan, show it to the person again, and do not assume "
              "the earlier answer still stands.");
    ToolOutcome again = toolClean(execute, context, store);
    EXPECT_EQ(again.payload["reason"],
              "plan_token is not one this server issued, or it has already been used — ask for a fresh plan");
    EXPECT_TRUE(fs::exists(home / ".npm/_cacache/content-v2/x"));
}

TEST(CleanExecute, UnverifiedRowsGoToTheQuarantineAndADeleteLeavesThemThere) {
    Stores stores;
    testing::FakeProcessTable table = quietTable();
    ManualClock clock;
    PlanStore store(clock);
    ToolOutcome planned = cleanPlanResponse(stores.hits, {}, 3, Disposal::delete_, store, table);
    ToolOutcome done = cleanExecute(*store.take(planned.payload["plan_token"], PlanKind::clean).plan, table);
    EXPECT_EQ(done.payload["status"], "deleted") << done.payload.dump();
    EXPECT_EQ(done.payload["moved"].size(), 3u);
    EXPECT_EQ(done.payload["quarantined_human"], "2.0 KB");
    const std::string told = done.payload["for_the_assistant"];
    EXPECT_TRUE(told.starts_with("Done, and the space is back: 4.0 KB. This cannot be undone.")) << told;
    EXPECT_NE(told.find("1 unverified row(s) went to Kelvor's quarantine"), std::string::npos) << told;
    int quarantinedSeen = 0;
    for (const Json& moved : done.payload["moved"]) {
        if (moved["path"] != stores.home / "three") continue;
        ++quarantinedSeen;
        EXPECT_TRUE(fs::exists(moved["moved_to"].get<std::string>())) << "the quarantine is not emptied";
    }
    EXPECT_EQ(quarantinedSeen, 1);
}

}  // namespace
}  // namespace kelvor
