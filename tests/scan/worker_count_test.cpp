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

TEST(WorkerCount, AGrowingWalkStartsWithTheProcessorsAndDoublesUpToItsMost) {
    for (int processors : {1, 2, 3, 8, 64}) {
        const WalkWorkers workers = growingWalkWorkers(processors);
        const std::string input = std::to_string(processors) + " processors";
        EXPECT_EQ(workers.first, processors) << input << ": a warm walk needs no more";
        EXPECT_EQ(workers.most, defaultWalkWorkers(processors)) << input;
        int running = workers.first;
        int checks = 0;
        for (; running < workers.most; ++checks) {
            const int grown = grownWalkWorkers(running, workers);
            ASSERT_GT(grown, running) << input << ": every check that saw disk reads adds workers";
            running = grown;
        }
        EXPECT_EQ(running, workers.most) << input << ": never beyond the most";
        EXPECT_LE(checks, 4) << input << ": a cold walk reaches its most within a few checks";
    }
}

TEST(WorkerCount, AWalkGrowsOnlyWhileItWaitsOnTheDiskWithProcessorsToSpare) {
    const WalkWorkers twoProcessors = growingWalkWorkers(2);
    struct Case {
        std::uint64_t bytesRead;
        double busy;
        int running;
        bool grows;
        const char* why;
    };
    const Case cases[] = {
        {4 << 20, 0.6, 2, true, "cold: megabytes read, processors idle while workers sleep"},
        {4 << 20, 1.95, 2, false, "both processors busy: more workers would only take turns"},
        {4 << 20, 1.95, 8, false, "busy is measured against the processors, not the workers"},
        {4 << 20, 0.95, 1, false, "one worker keeping its one processor busy"},
        {8192, 0.5, 2, false, "a block or two the cache had dropped: a warm walk"},
        {0, 0.2, 2, false, "nothing read: the walk is short of work, not of workers"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(walkWaitsOnDisk(c.bytesRead, c.busy, c.running, twoProcessors), c.grows) << c.why;
}

TEST(WorkerCount, AskedWorkersAreExact) {
    EXPECT_EQ(exactWalkWorkers(5), (WalkWorkers{5, 5}));
    EXPECT_EQ(exactWalkWorkers(0), (WalkWorkers{1, 1})) << "a walk always has a worker";
    EXPECT_EQ(grownWalkWorkers(5, exactWalkWorkers(5)), 5);
}

TEST(WorkerCount, AnUnknownProcessorCountStillWalks) {
    EXPECT_EQ(defaultWalkWorkers(0), defaultWalkWorkers(1));
    EXPECT_EQ(defaultWalkWorkers(-3), defaultWalkWorkers(1));
}

}  // namespace
}  // namespace kelvor
