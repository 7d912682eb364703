#include "quillet/platform/workers.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <set>

namespace kelvor {
namespace {

TEST(Workers, EveryIndexRunsOnceAndAllEndBeforeReturn) {
    for (int count : {1, 2, 7}) {
        std::mutex lock;
        std::multiset<int> seen;
        int ran = runWorkers(count, 1048576, [&](int index) {
            std::lock_guard guard(lock);
            seen.insert(index);
        });
        EXPECT_EQ(ran, count) << count;
        std::multiset<int> expected;
        for (int i = 0; i < count; ++i) expected.insert(i);
        EXPECT_EQ(seen, expected) << count;
    }
}

TEST(Workers, ACountBelowOneStillDoesTheWork) {
    std::atomic<int> calls = 0;
    EXPECT_EQ(runWorkers(0, 1048576, [&](int) { ++calls; }), 1);
    EXPECT_EQ(calls.load(), 1);
}

}  // namespace
}  // namespace kelvor
