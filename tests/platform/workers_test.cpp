#include "quillet/platform/workers.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <set>
#include <thread>

namespace kelvor {
namespace {

TEST(Workers, AGroupGrowsWhileItRunsAndEveryIndexRunsOnce) {
    std::mutex lock;
    std::multiset<int> ran;
    std::atomic<bool> release{false};
    {
        WorkerGroup group(1048576, [&](int index) {
            while (!release.load()) std::this_thread::yield();  // the first ones still run as more start
            std::lock_guard guard(lock);
            ran.insert(index);
        });
        EXPECT_EQ(group.growTo(2), 2);
        EXPECT_EQ(group.growTo(1), 2) << "a group never shrinks";
        EXPECT_EQ(group.growTo(5), 5);
        release = true;
        EXPECT_EQ(group.join(), 5);
        EXPECT_EQ(group.join(), 0) << "joined once";
        EXPECT_EQ(group.growTo(9), 5) << "nothing starts after the join";
    }
    EXPECT_EQ(ran, (std::multiset<int>{0, 1, 2, 3, 4}));
}

TEST(Workers, AGroupThatNeverGrewStillDoesTheWorkAtItsJoin) {
    int calls = 0;
    {
        WorkerGroup group(1048576, [&](int index) { calls += index == 0 ? 1 : 100; });
        EXPECT_EQ(group.join(), 1);
    }
    EXPECT_EQ(calls, 1);
}

TEST(Workers, TheDestructorWaitsForEveryStartedWorker) {
    std::atomic<int> finished{0};
    {
        WorkerGroup group(1048576, [&](int) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            ++finished;
        });
        group.growTo(3);
    }
    EXPECT_EQ(finished.load(), 3);
}

}  // namespace
}  // namespace kelvor
