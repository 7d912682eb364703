#include "quillet/platform/clock.hpp"

#include <gtest/gtest.h>

#include <thread>

namespace kelvor {
namespace {

using namespace std::chrono_literals;

TEST(Clock, AManualClockAdvancedBy901SecondsMovesBothReadingsAtOnce) {
    ManualClock clock;
    const auto wallBefore = clock.now();
    const double monotonicBefore = clock.monotonicSeconds();
    auto realBefore = std::chrono::steady_clock::now();
    clock.advance(901s);
    EXPECT_EQ(clock.now() - wallBefore, std::chrono::seconds(901));
    EXPECT_DOUBLE_EQ(clock.monotonicSeconds() - monotonicBefore, 901.0);
    EXPECT_LT(std::chrono::steady_clock::now() - realBefore, 5s) << "no real waiting";
    clock.advance(-10s);
    EXPECT_EQ(clock.now() - wallBefore, std::chrono::seconds(901)) << "time never runs backward";
    clock.advance(250ms);
    EXPECT_DOUBLE_EQ(clock.monotonicSeconds() - monotonicBefore, 901.25);
}

TEST(Clock, AWrapperForwardsWhatItDoesNotOverride) {
    ManualClock base;
    struct FrozenWall : ClockWrapper {
        using ClockWrapper::ClockWrapper;
        std::chrono::system_clock::time_point now() override { return {}; }
    } wrapped(base);
    base.advance(30s);
    EXPECT_DOUBLE_EQ(wrapped.monotonicSeconds(), base.monotonicSeconds());
    EXPECT_EQ(wrapped.now(), std::chrono::system_clock::time_point{});
}

// The real clock against the standard library, in this process.
TEST(Clock, TheRealClockTellsTheSystemTimeAndNeverRunsBackward) {
    Clock& clock = Clock::real();
    auto difference = clock.now() - std::chrono::system_clock::now();
    EXPECT_LT(std::chrono::abs(difference), 5s);
    const double first = clock.monotonicSeconds();
    std::this_thread::sleep_for(20ms);
    const double second = clock.monotonicSeconds();
    EXPECT_GE(second - first, 0.015);
    EXPECT_LT(second - first, 5.0);
}

}  // namespace
}  // namespace kelvor
