// The overview and the item list over scans the test makes up.
#include <gtest/gtest.h>

#include "quillet/automation/overview_tool.hpp"

namespace kelvor {
namespace {

Hit hitOf(const std::string& owner, Tier tier, bool verified, Burden burden, std::uint64_t bytes) {
    Hit hit;
    hit.rule = Rule{.owner = owner, .component = "store", .tier = tier, .verified = verified, .burden = burden};
    hit.path = "/home/a/" + owner + "/" + std::to_string(bytes);
    hit.stat.bytes = bytes;
    return hit;
}

ToolScan sampleScan() {
    ToolScan scan;
    scan.hits = {hitOf("npm", Tier::redownload, true, Burden::transparent, 1'000'000),
                 hitOf("Cargo", Tier::regenerate, true, Burden::interruptive, 20'000'000),
                 hitOf("Gradle", Tier::redownload, false, Burden::transparent, 300'000'000),
                 hitOf("JetBrains", Tier::review, true, Burden::transparent, 4'000'000'000),
                 hitOf("npm", Tier::regenerate, true, Burden::transparent, 5'000'000)};
    return scan;
}

TEST(Overview, TheLadderAddsUpLevelByLevelAndFoldersThatDidNotAnswerAreCounted) {
    Json overview = overviewPayload(sampleScan());
    const Json& ladder = overview["level_ladder"];
    ASSERT_EQ(ladder.size(), 4u);
    EXPECT_EQ(ladder[0]["bytes"], 6'000'000);
    EXPECT_EQ(ladder[1]["cumulative_bytes"], 26'000'000);
    EXPECT_EQ(ladder[2]["cumulative_bytes"], 326'000'000);
    EXPECT_EQ(ladder[2]["call"], "kelvor_clean with max_level:3");
    EXPECT_EQ(ladder[3]["bytes"], 4'000'000'000);
    EXPECT_FALSE(ladder[3].contains("cumulative_bytes"));
    EXPECT_EQ(overview["reclaimable_bytes"], 326'000'000);
    EXPECT_EQ(overview["recoverable_verified_human"], "26.0 MB");
    EXPECT_EQ(overview["tier_totals"]["A"]["bytes"], 301'000'000);
    EXPECT_EQ(overview["top_owners"][0]["owner"], "JetBrains");
    EXPECT_FALSE(overview.contains("folders_that_did_not_answer_note"));
    ToolScan slow = sampleScan();
    slow.didNotAnswer = {"/home/a/slow"};
    overview = overviewPayload(slow);
    EXPECT_EQ(overview["folders_that_did_not_answer"], 1);
    EXPECT_TRUE(overview["folders_that_did_not_answer_note"].is_string());
}

TEST(Items, FiltersByTierOrScreenLetterAndSizeLargestFirstAndRefusesAnUnknownFilter) {
    ToolScan scan = sampleScan();
    struct Case {
        std::optional<std::string> tier;
        double minMB;
        std::vector<std::string> owners;
    };
    const Case cases[] = {
        {std::nullopt, 10, {"JetBrains", "Gradle", "Cargo"}},
        {std::nullopt, 0, {"JetBrains", "Gradle", "Cargo", "npm", "npm"}},
        {"a", 0, {"Gradle", "npm"}},
        {"R", 0, {"Cargo", "npm", "npm"}},  // an unverified A is not shown as R
        {"i", 0, {"JetBrains", "Gradle"}},
        {"!", 0, {}},
    };
    for (const Case& c : cases) {
        ToolOutcome outcome = itemsPayload(scan, c.tier, c.minMB);
        ASSERT_FALSE(outcome.isError) << c.tier.value_or("-");
        std::vector<std::string> owners;
        for (const Json& item : outcome.payload["items"]) owners.push_back(item["owner"]);
        EXPECT_EQ(owners, c.owners) << c.tier.value_or("-") << " " << c.minMB;
    }
    ToolOutcome unknown = itemsPayload(ToolScan{}, std::string("Z"), 10);
    EXPECT_TRUE(unknown.isError) << "even with nothing found";
    EXPECT_EQ(unknown.payload["error"], "unknown tier filter: Z");
}

}  // namespace
}  // namespace kelvor
