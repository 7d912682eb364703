// The clean tool's planner and executor on stores in a temporary home, with a process table the
// test presents.
#include <gtest/gtest.h>

#include "quillet/automation/levels.hpp"
#include "tests/automation/automation_fixture.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using namespace testing;

struct Stores : CleanBench {
    TempHome home;
    std::vector<Hit> hits = {storeHit(home, "one", Tier::redownload, true, Burden::transparent, 1000),
                             storeHit(home, "two", Tier::regenerate, true, Burden::interruptive, 3000),
                             storeHit(home, "three", Tier::redownload, false, Burden::transparent, 2000),
                             storeHit(home, "yours", Tier::review, true, Burden::transparent, 5000),
                             storeHit(home, "guarded", Tier::protected_, true, Burden::transparent, 6000)};
};

bool has(const Json& text, const std::string& part) { return text.get<std::string>().find(part) != std::string::npos; }

TEST(ChooseTargets, EachCapReachesItsLevelsAndTheOwnFilesNeverAtAll) {
    Stores s;
    const std::string& home = s.home.path();
    const std::vector<std::vector<std::string>> expected = {
        {home + "/one"}, {home + "/two", home + "/one"}, {home + "/two", home + "/three", home + "/one"}};
    for (int cap = 1; cap <= 3; ++cap) {
        const auto& paths = expected[static_cast<std::size_t>(cap - 1)];
        TargetChoice choice = chooseTargets(s.hits, {}, cap, s.table);
        std::vector<std::string> planned;
        for (const PlanRow& row : choice.targets) {
            planned.push_back(row.hit.path);
            EXPECT_TRUE(row.identity) << row.hit.path;
        }
        EXPECT_EQ(planned, paths) << "cap " << cap;
        EXPECT_EQ(choice.refused.size(), 5u - paths.size()) << "cap " << cap;
    }
    // Naming the person's own files by key does not bring them in either.
    std::vector<std::string> keys;
    for (const Hit& hit : s.hits) keys.push_back(itemKey(hit.rule.owner, hit.path));
    TargetChoice named = chooseTargets(s.hits, keys, 3, s.table);
    EXPECT_EQ(named.targets.size(), 3u);
    ASSERT_EQ(named.refused.size(), 2u);
    EXPECT_EQ(named.refused[0]["reason"], levelRefusal(s.hits[3].rule, 4));
    EXPECT_EQ(named.refused[1]["reason"], levelRefusal(s.hits[4].rule, 4));
}

TEST(ChooseTargets, KeysNarrowThePlanAndUnknownKeysAreReportedMissing) {
    Stores s;
    const std::string wanted = itemKey("Tool", s.home / "two");
    TargetChoice choice = chooseTargets(s.hits, {wanted, "nothing:000000000000"}, 1, s.table);
    EXPECT_TRUE(choice.targets.empty());
    ASSERT_EQ(choice.refused.size(), 1u);
    EXPECT_EQ(choice.refused[0]["key"], wanted);
    EXPECT_TRUE(has(choice.refused[0]["reason"], "max_level:2"));
    EXPECT_EQ(choice.missing, std::vector<std::string>{"nothing:000000000000"});
}

TEST(ChooseTargets, GuardsHoldRowsAndOnlyTheRunningOwnerCountsAsReleasableButNoTableHoldsAll) {
    TempHome home;
    std::vector<Hit> hits = {storeHit(home, "npm-cache", Tier::redownload, true, Burden::transparent, 4000, "npm"),
                             storeHit(home, "fresh", Tier::redownload, true, Burden::transparent, 2000)};
    writeFile(home / "fresh/new", "written just now");
    FakeProcessTable table = quietTable();
    table.procs->push_back({.pid = 20, .ppid = 1, .path = "/usr/bin/npm", .args = "npm install"});
    TargetChoice choice = chooseTargets(hits, {}, 1, table);
    EXPECT_TRUE(choice.targets.empty());
    ASSERT_EQ(choice.held.size(), 2u);
    EXPECT_EQ(choice.heldBytes, 6000u);
    EXPECT_EQ(choice.heldByRunningOwner, (std::map<std::string, std::uint64_t>{{"npm", 4000}}));
    const std::string note = capNote(choice);
    EXPECT_NE(note.find("2 row(s) at this level, 6.0 KB, are NOT in the plan;"), std::string::npos) << note;
    EXPECT_NE(note.find("4.0 KB of it is held only because npm is running: tell the person"), std::string::npos);

    Stores s;
    s.table.procs.reset();
    choice = chooseTargets(s.hits, {}, 3, s.table);
    EXPECT_TRUE(choice.targets.empty());
    EXPECT_EQ(choice.held.size(), 3u);
}

TEST(CleanPlanResponse, MaxLevelFourIsLoweredADeletePlanWarnsAndAnEmptyPlanIssuesNoToken) {
    Stores s;
    ToolOutcome outcome = s.plan(s.hits, 4, Disposal::trash);
    EXPECT_FALSE(outcome.isError);
    EXPECT_EQ(outcome.payload["max_level"], 3);
    EXPECT_TRUE(has(outcome.payload["max_level_note"], "lowered to 3"));
    EXPECT_EQ(outcome.payload["rows"].size(), 3u);
    EXPECT_EQ(outcome.payload["total_bytes"], 6000);
    const std::string briefing = outcome.payload["for_the_assistant"];
    EXPECT_TRUE(briefing.starts_with("This is a PLAN, not an action. Nothing on this disk has been touched."));
    EXPECT_EQ(briefing.find("cannot be undone"), std::string::npos) << briefing;
    PlanTake taken = s.store.take(outcome.payload["plan_token"], PlanKind::clean);
    ASSERT_TRUE(taken.plan) << taken.refusal;
    EXPECT_EQ(taken.plan->maxLevel, 3);

    ToolOutcome deleting = s.plan(s.hits, 1, Disposal::delete_);
    EXPECT_TRUE(has(deleting.payload["for_the_assistant"], "Say plainly that this cannot be undone, and name the "
                                                           "rows that nothing brings back, BEFORE you ask."));

    ToolOutcome empty = s.plan({s.hits[3], s.hits[4]}, 3, Disposal::trash);
    EXPECT_EQ(empty.payload["status"], "nothing_to_do");
    EXPECT_FALSE(empty.payload.contains("plan_token"));
    EXPECT_TRUE(empty.payload["for_the_assistant"].get<std::string>().starts_with("Nothing here matches."));
    EXPECT_EQ(s.store.size(), 1u);
}

TEST(CleanExecute, DeleteEmptiesWhatWentToTheTrashOnlyAndLeavesTheQuarantineFull) {
    Stores s;
    const std::string others = s.home / ".local/share/Trash/files/persons-own";
    writeFile(others, "kept");
    ToolOutcome done = s.execute(s.plan(s.hits, 3, Disposal::delete_));
    EXPECT_FALSE(done.isError) << done.payload.dump();
    EXPECT_EQ(done.payload["status"], "deleted") << done.payload.dump();
    EXPECT_FALSE(done.payload.contains("partially_emptied")) << done.payload.dump();
    EXPECT_EQ(done.payload["quarantined_human"], "2.0 KB");
    const std::string told = done.payload["for_the_assistant"];
    EXPECT_TRUE(told.starts_with("Done, and the space is back: 4.0 KB. This cannot be undone.")) << told;
    EXPECT_NE(told.find("1 unverified row(s) went to Kelvor's quarantine"), std::string::npos) << told;
    ASSERT_EQ(done.payload["moved"].size(), 3u);
    for (const Json& moved : done.payload["moved"]) {
        EXPECT_FALSE(fs::exists(moved["path"].get<std::string>()));
        EXPECT_EQ(fs::exists(moved["moved_to"].get<std::string>()), moved["path"] == s.home / "three")
            << "only the quarantined row is kept: " << moved.dump();
    }
    EXPECT_EQ(readFile(others), "kept");
}

TEST(CleanExecute, APlanWhoseRowsAllChangedMovesNothing) {
    Stores s;
    ToolOutcome planned = s.plan(s.hits, 1, Disposal::trash);
    fs::remove_all(s.home / "one");
    ToolOutcome done = s.execute(planned);
    EXPECT_EQ(done.payload["status"], "nothing_moved");
    EXPECT_EQ(done.payload["dropped"][0]["reason"], "it is no longer there — nothing was removed for this row");
    EXPECT_FALSE(fs::exists(s.home / ".kelvor/undo")) << "no record for a run that moves nothing";
}

TEST(ToolClean, ATokenUsed901SecondsAfterPlanningIsRefusedAsExpired) {
    TempHome home;
    writeFile(home / ".npm/_cacache/content-v2/x", std::string(30000, 'n'));
    ageTree(home / ".npm");
    ManualClock clock;
    PlanStore store(clock);
    OperationContext context;
    ToolOutcome planned = toolClean(Json{{"max_level", 1}, {"disposal", "trash"}}, context, store);
    ASSERT_EQ(planned.payload["status"], "plan") << planned.payload.dump();
    clock.advance(std::chrono::seconds(901));
    ToolOutcome late = toolClean(Json{{"plan_token", planned.payload["plan_token"]}}, context, store);
    EXPECT_TRUE(late.isError);
    EXPECT_EQ(late.payload["error"], "plan_token refused");
    EXPECT_EQ(late.payload["reason"], "plan_token expired after 900s — ask for a fresh plan and show it again");
    EXPECT_EQ(late.payload["for_the_assistant"],
              "The approval could not be used. Ask for a fresh plan, show it to the person again, and do not assume "
              "the earlier answer still stands.");
    EXPECT_TRUE(fs::exists(home / ".npm/_cacache/content-v2/x"));
}

}  // namespace
}  // namespace kelvor
