// The tools' scan on a temporary home: progress as it goes, and a budget that cuts it short.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>

#include "quillet/automation/tool_scan.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

void makeStores(const testing::TempHome& home) {
    testing::writeFile(home / ".npm/_cacache/content-v2/x", std::string(30000, 'n'));
    testing::writeFile(home / ".cache/huggingface/hub/models--m/blobs/b", std::string(20000, 'h'));
}

TEST(ToolScan, ReportsRisingProgressUpToEveryStoreOfTheCatalogue) {
    testing::TempHome home;
    makeStores(home);
    std::vector<OperationProgress> reports;
    OperationContext context([&](const OperationProgress& step) { reports.push_back(step); });
    ToolScan scan = scanForTool(context);
    ASSERT_FALSE(reports.empty());
    for (std::size_t i = 1; i < reports.size(); ++i) EXPECT_GT(reports[i].progress, reports[i - 1].progress);
    ASSERT_TRUE(reports.back().total);
    EXPECT_EQ(reports.back().progress, *reports.back().total);
    EXPECT_TRUE(std::any_of(scan.hits.begin(), scan.hits.end(),
                            [&](const Hit& hit) { return hit.path == home / ".npm/_cacache"; }));
    EXPECT_TRUE(scan.didNotAnswer.empty());
}

TEST(ToolScan, AStoreMeasuredAfterTheBudgetRanOutIsListedAsNotAnswering) {
    testing::TempHome home;
    makeStores(home);
    OperationContext context;
    ToolScan scan = scanForTool(context, std::chrono::milliseconds(0));
    ASSERT_FALSE(scan.hits.empty());
    EXPECT_EQ(scan.didNotAnswer.size(), scan.hits.size());
    for (const Hit& hit : scan.hits) EXPECT_TRUE(hit.stat.timedOut) << hit.path;
}

}  // namespace
}  // namespace kelvor
