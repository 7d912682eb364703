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

TEST(ToolScan, ReportsProgressAtOnceThenSpacedOutAndNeverRightBeforeTheEnd) {
    testing::TempHome home;
    makeStores(home);
    std::vector<OperationProgress> reports;
    std::vector<std::chrono::steady_clock::time_point> times;
    OperationContext timed([&](const OperationProgress& step) {
        reports.push_back(step);
        times.push_back(std::chrono::steady_clock::now());
    });
    ToolScan scan = scanForTool(timed);
    const auto end = std::chrono::steady_clock::now();
    ASSERT_FALSE(reports.empty());
    EXPECT_EQ(reports[0].progress, 1);
    ASSERT_TRUE(reports[0].total);
    EXPECT_GT(*reports[0].total, 1);
    for (std::size_t i = 1; i < reports.size(); ++i) EXPECT_GE(times[i] - times[i - 1], PROGRESS_SPACING);
    EXPECT_GE(end - times.back(), PROGRESS_QUIET_BEFORE_ANSWER);
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
