// Emptying what earlier runs moved to the Trash, on a temporary home's real Trash.
#include <gtest/gtest.h>

#include "quillet/automation/free_tool.hpp"
#include "tests/automation/automation_fixture.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using namespace testing;

// A home where an earlier clean moved two stores to the Trash, beside a file of the person's own.
struct TwoTrashed : CleanBench {
    TempHome home;
    std::string others = home / ".local/share/Trash/files/persons-own";
    std::vector<std::string> trashed;
    TwoTrashed() {
        ToolOutcome done = execute(plan({storeHit(home, "first", Tier::redownload, true, Burden::transparent, 1000),
                                         storeHit(home, "second", Tier::redownload, true, Burden::transparent, 1000)},
                                        1, Disposal::trash));
        for (const Json& moved : done.payload["moved"]) trashed.push_back(moved["moved_to"]);
        EXPECT_EQ(trashed.size(), 2u) << done.payload.dump();
        writeFile(others, "kept");
    }
};

TEST(FreeTool, PlansOnlyKelvorsRowsAndEmptiesExactlyThem) {
    TwoTrashed t;
    ToolOutcome planned = freePlanResponse(recoveryItems(RECOVERY_LIST_LIMIT), {}, t.store);
    EXPECT_EQ(planned.payload["status"], "plan") << planned.payload.dump();
    ASSERT_EQ(planned.payload["rows"].size(), 2u);
    for (const Json& row : planned.payload["rows"])
        EXPECT_NE(row["how_to_get_it_back"].get<std::string>().find("--mode clean --undo"), std::string::npos);
    EXPECT_TRUE(planned.payload["for_the_assistant"].get<std::string>().starts_with(
        "This is a PLAN, not an action. Nothing has been emptied. Emptying is irreversible."));
    for (const std::string& path : t.trashed) EXPECT_TRUE(fs::exists(path)) << "planning empties nothing";

    PlanTake taken = t.store.take(planned.payload["plan_token"], PlanKind::free);
    ASSERT_TRUE(taken.plan);
    ToolOutcome done = freeExecute(*taken.plan);
    EXPECT_EQ(done.payload["status"], "emptied") << done.payload.dump();
    EXPECT_EQ(done.payload["for_the_assistant"], "2.0 KB is back on the disk and this cannot be undone.");
    for (const std::string& path : t.trashed) EXPECT_FALSE(fs::exists(path)) << path;
    EXPECT_EQ(readFile(t.others), "kept");
    ToolOutcome after = freePlanResponse(recoveryItems(RECOVERY_LIST_LIMIT), {}, t.store);
    EXPECT_EQ(after.payload["status"], "nothing_to_do") << "emptied rows and the person's own are not offered";
    EXPECT_FALSE(after.payload.contains("plan_token"));
    EXPECT_TRUE(after.payload["for_the_assistant"].get<std::string>().starts_with(
        "There is nothing of Kelvor's in the Trash to empty."));
}

TEST(FreeTool, IdsNarrowThePlanAndAReplacedTrashCopyIsNotPlanned) {
    TwoTrashed t;
    fs::remove_all(t.trashed[0]);
    writeFile(t.trashed[0] + "/data", "not the moved one");
    std::vector<RestorableItem> rows = recoveryItems(RECOVERY_LIST_LIMIT);
    ToolOutcome all = freePlanResponse(rows, {}, t.store);
    ASSERT_EQ(all.payload["rows"].size(), 1u) << all.payload.dump();
    EXPECT_EQ(all.payload["rows"][0]["in_trash_at"], t.trashed[1]);
    ASSERT_EQ(all.payload["refused"].size(), 1u);
    EXPECT_EQ(all.payload["refused"][0]["reason"], "the copy in the Trash is not the one Kelvor moved");

    const std::string id = all.payload["rows"][0]["id"];
    ToolOutcome narrowed = freePlanResponse(rows, {id, "row:ffffffffffff"}, t.store);
    ASSERT_EQ(narrowed.payload["rows"].size(), 1u);
    EXPECT_EQ(narrowed.payload["rows"][0]["id"], id);
    EXPECT_EQ(narrowed.payload["missing_ids"], Json::array({"row:ffffffffffff"}));
}

}  // namespace
}  // namespace kelvor
