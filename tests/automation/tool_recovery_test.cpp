#include "quillet/automation/tool_recovery.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "quillet/automation/tools.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

RestorableItem row(const std::string& origin, RecoveryKind kind) {
    RestorableItem item;
    item.id = "record\n" + origin;
    item.originalPath = origin;
    item.trashedTo = "/trash/" + origin.substr(origin.rfind('/') + 1);
    item.kind = kind;
    item.payloadPresent = true;
    item.bytes = 1000;
    return item;
}

const Json* find(const Json& list, const std::string& origin) {
    for (const Json& item : list)
        if (item["original_path"] == origin) return &item;
    return nullptr;
}

TEST(RecoveryReport, HeldItemsCarryTheirDaysAndANoteWhenTheyAreAboutToMoveOn) {
    RestorableItem soon = row("/h/.cache/deno", RecoveryKind::quarantined);
    soon.daysLeft = RECOVERY_SOON_DAYS;
    RestorableItem later = row("/h/.cache/coursier", RecoveryKind::quarantined);
    later.daysLeft = RECOVERY_SOON_DAYS + 1;
    Json report = recoveryReport({soon, later});
    for (const RestorableItem& held : {soon, later}) {
        const Json* shown = find(report["quarantined_items"], held.originalPath);
        ASSERT_TRUE(shown) << report.dump(2);
        EXPECT_EQ((*shown)["days_until_it_moves_to_the_trash"], held.daysLeft);
        EXPECT_EQ(shown->contains("note"), held.daysLeft == RECOVERY_SOON_DAYS) << shown->dump(2);
    }
}

TEST(RecoveryReport, SortsRowsByWhereTheyAreAndWhetherTheOwnerRebuiltThem) {
    RestorableItem trashed = row("/h/.npm/_cacache", RecoveryKind::trashed);
    RestorableItem rebuilt = row("/h/.cache/pip", RecoveryKind::trashed);
    rebuilt.originTaken = true;
    RestorableItem gone = row("/h/.cache/huggingface/hub", RecoveryKind::refetch);
    gone.payloadPresent = false;
    gone.command = {"hf", "download", "org/model"};
    Json report = recoveryReport({trashed, rebuilt, gone});
    ASSERT_TRUE(find(report["trash_items"], trashed.originalPath)) << report.dump(2);
    const Json* superseded = find(report["already_superseded_items"], rebuilt.originalPath);
    ASSERT_TRUE(superseded) << report.dump(2);
    EXPECT_EQ((*superseded)["owning_tool_rebuilt_the_original"], true);
    const Json* fetched = find(report["gone_items"], gone.originalPath);
    ASSERT_TRUE(fetched) << report.dump(2);
    EXPECT_EQ((*fetched)["how_to_get_it_back"], "hf download org/model");
    EXPECT_EQ(report["space_waiting_in_the_trash_bytes"], 2000);
}

TEST(RecoveryReport, TheWayBackNamesExactlyOneRow) {
    RestorableItem shorter = row("/h/p/cache", RecoveryKind::trashed);
    RestorableItem longer = row("/h/p/cache2", RecoveryKind::trashed);
    Json report = recoveryReport({shorter, longer});
    // "/h/p/cache" would also name the second row, so the first is named by its number.
    EXPECT_EQ((*find(report["trash_items"], shorter.originalPath))["how_to_get_it_back"],
              "kelvor --mode restore --path '1'");
    EXPECT_EQ((*find(report["trash_items"], longer.originalPath))["how_to_get_it_back"],
              "kelvor --mode restore --path '/h/p/cache2'");
}

TEST(RecoveryReport, TheToolAnswersWithTheReport) {
    testing::TempHome home;
    const McpTool* tool = findMcpTool(MCP_TOOLS, "kelvor_recovery");
    ASSERT_TRUE(tool && tool->run);
    OperationContext context;
    ToolOutcome outcome = tool->run(Json::object(), context);
    EXPECT_FALSE(outcome.isError);
    EXPECT_EQ(outcome.payload, recoveryReport({}));
}

}  // namespace
}  // namespace kelvor
