#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "quillet/automation/operation.hpp"

namespace kelvor {
namespace {

TEST(OperationContext, ProgressOnlyMovesForwardAndStopsAtCancellation) {
    std::vector<double> seen;
    OperationContext context([&](const OperationProgress& progress) { seen.push_back(progress.progress); });
    for (double value : {1.0, 1.0, 3.0, 2.0, 4.0}) context.report(value, 10.0);
    EXPECT_FALSE(context.cancelled());
    context.cancel();
    EXPECT_TRUE(context.cancelled());
    EXPECT_TRUE(context.cancelFlag().load());
    context.report(5);
    EXPECT_EQ(seen, (std::vector<double>{1.0, 3.0, 4.0}));
}

TEST(OperationContext, ReportsFromManyThreadsReachTheSinkOneAtATimeAndInOrder) {
    std::vector<double> seen;
    OperationContext context([&](const OperationProgress& progress) { seen.push_back(progress.progress); });
    std::vector<std::thread> workers;
    for (int worker = 0; worker < 4; ++worker)
        workers.emplace_back([&, worker] {
            for (int step = 0; step < 500; ++step) context.report(step * 4 + worker);
        });
    for (std::thread& each : workers) each.join();
    ASSERT_FALSE(seen.empty());
    for (std::size_t i = 1; i < seen.size(); ++i) EXPECT_LT(seen[i - 1], seen[i]) << i;
}

}  // namespace
}  // namespace kelvor
