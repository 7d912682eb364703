// Emptying what earlier runs moved to the Trash, on a temporary home's real Trash.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

#include "quillet/automation/clean_tool.hpp"
#include "quillet/automation/free_tool.hpp"
#include "tests/guards/fake_process_table.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;

// Moves two stores to the Trash through the clean tool, as an earlier run would have.
std::vector<std::string> trashTwoStores(const testing::TempHome& home) {
    std::vector<Hit> hits;
    for (const char* name : {"first", "second"}) {
        testing::writeFile(home / (std::string(name) + "/data"), std::string(1000, 'x'));
        auto old = fs::file_time_type::clock::now() - std::chrono::hours(3);
        fs::last_write_time(home / (std::string(name) + "/data"), old);
        fs::last_write_time(home / name, old);
        Hit hit;
        hit.rule = Rule{.owner = "Tool", .component = name, .tier = Tier::redownload, .verified = true,
                        .burden = Burden::transparent};
        hit.path = home / name;
        hit.stat.bytes = 1000;
        hits.push_back(hit);
    }
    testing::FakeProcessTable table;
    table.procs = std::vector<Proc>{{.pid = 1, .ppid = 0, .path = "/sbin/init", .args = "/sbin/init"}};
    ManualClock clock;
    PlanStore store(clock);
    ToolOutcome planned = cleanPlanResponse(hits, {}, 1, Disposal::trash, store, table);
    ToolOutcome done = cleanExecute(*store.take(planned.payload["plan_token"], PlanKind::clean).plan, table);
    std::vector<std::string> trashed;
    for (const Json& moved : done.payload["moved"]) trashed.push_back(moved["moved_to"]);
    return trashed;
}

TEST(FreeTool, PlansOnlyKelvorsRowsAndEmptiesExactlyThem) {
    testing::TempHome home;
    std::vector<std::string> trashed = trashTwoStores(home);
    ASSERT_EQ(trashed.size(), 2u);
    const std::string others = home / ".local/share/Trash/files/persons-own";
    testing::writeFile(others, "kept");
    ManualClock clock;
    PlanStore store(clock);
    ToolOutcome planned = freePlanResponse(recoveryItems(RECOVERY_LIST_LIMIT), {}, store);
    EXPECT_EQ(planned.payload["status"], "plan") << planned.payload.dump();
    ASSERT_EQ(planned.payload["rows"].size(), 2u);
    for (const Json& row : planned.payload["rows"])
        EXPECT_NE(row["how_to_get_it_back"].get<std::string>().find("--mode clean --undo"), std::string::npos);
    EXPECT_TRUE(planned.payload["for_the_assistant"].get<std::string>().starts_with(
        "This is a PLAN, not an action. Nothing has been emptied. Emptying is irreversible."));
    for (const std::string& path : trashed) EXPECT_TRUE(fs::exists(path)) << "planning empties nothing";

    PlanTake taken = store.take(planned.payload["plan_token"], PlanKind::free);
    ASSERT_TRUE(taken.plan);
    ToolOutcome done = freeExecute(*taken.plan);
    EXPECT_EQ(done.payload["status"], "emptied") << done.payload.dump();
    EXPECT_EQ(done.payload["for_the_assistant"], "2.0 KB is back on the disk and this cannot be undone.");
    for (const std::string& path : trashed) EXPECT_FALSE(fs::exists(path)) << path;
    EXPECT_EQ(testing::readFile(others), "kept");
    // Emptied rows are no longer offered.
    EXPECT_EQ(freePlanResponse(recoveryItems(RECOVERY_LIST_LIMIT), {}, store).payload["status"], "nothing_to_do");
}

TEST(FreeTool, IdsNarrowThePlanAndAReplacedTrashCopyIsNotPlanned) {
    testing::TempHome home;
    std::vector<std::string> trashed = trashTwoStores(home);
    ASSERT_EQ(trashed.size(), 2u);
    // Something else now stands where Kelvor's first copy was.
    fs::remove_all(trashed[0]);
    testing::writeFile(trashed[0] + "/data", "not the moved one");
    std::vector<RestorableItem> rows = recoveryItems(RECOVERY_LIST_LIMIT);
    ManualClock clock;
    PlanStore store(clock);
    ToolOutcome all = freePlanResponse(rows, {}, store);
    ASSERT_EQ(all.payload["rows"].size(), 1u) << all.payload.dump();
    EXPECT_EQ(all.payload["rows"][0]["in_trash_at"], trashed[1]);
    ASSERT_EQ(all.payload["refused"].size(), 1u);
    EXPECT_EQ(all.payload["refused"][0]["reason"], "the copy in the Trash is not the one Kelvor moved");

    const std::string id = all.payload["rows"][0]["id"];
    ToolOutcome narrowed = freePlanResponse(rows, {id, "row:ffffffffffff"}, store);
    ASSERT_EQ(narrowed.payload["rows"].size(), 1u);
    EXPECT_EQ(narrowed.payload["rows"][0]["id"], id);
    EXPECT_EQ(narrowed.payload["missing_ids"], Json::array({"row:ffffffffffff"}));
}

TEST(FreeTool, WithNothingOfKelvorsInTheTrashThereIsNoPlan) {
    testing::TempHome home;
    testing::writeFile(home / ".local/share/Trash/files/persons-own", "kept");
    ManualClock clock;
    PlanStore store(clock);
    ToolOutcome outcome = freePlanResponse(recoveryItems(RECOVERY_LIST_LIMIT), {}, store);
    EXPECT_EQ(outcome.payload["status"], "nothing_to_do");
    EXPECT_FALSE(outcome.payload.contains("plan_token"));
    EXPECT_FALSE(store.issuedEver());
    EXPECT_TRUE(outcome.payload["for_the_assistant"].get<std::string>().starts_with(
        "There is nothing of Kelvor's in the Trash to empty."));
}

}  // namespace
}  // namespace kelvor
