#include "quillet/scan/worker_count.hpp"

#include <gtest/gtest.h>

#include <string>

namespace kelvor {
namespace {

TEST(WorkerCount, MoreWorkersThanProcessorsSoColdReadsOverlap) {
    for (int processors : {1, 2, 3, 4}) {
        const std::string input = std::to_string(processors) + " processors";
        EXPECT_GT(defaultWalkWorkers(processors), processors) << input;
        EXPECT_LE(defaultWalkWorkers(processors), WALK_WORKERS_MOST) << input;
    }
}

TEST(WorkerCount, NeverFewerThanTheProcessorsNorMoreThanNeeded) {
    int previous = 0;
    for (int processors = 1; processors <= 2 * WALK_WORKERS_MOST; ++processors) {
        const int workers = defaultWalkWorkers(processors);
        const std::string input = std::to_string(processors) + " processors";
        EXPECT_GE(workers, processors) << input << ": every processor has a worker";
        EXPECT_LE(workers, std::max(processors, WALK_WORKERS_MOST)) << input;
        EXPECT_GE(workers, previous) << input << ": more processors never mean fewer workers";
        previous = workers;
    }
}

TEST(WorkerCount, AnUnknownProcessorCountStillWalks) {
    EXPECT_EQ(defaultWalkWorkers(0), defaultWalkWorkers(1));
    EXPECT_EQ(defaultWalkWorkers(-3), defaultWalkWorkers(1));
}

}  // namespace
}  // namespace kelvor
