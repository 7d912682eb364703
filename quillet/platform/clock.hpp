#pragma once
// The time as the removal path sees it, behind an interface so that a test can make "901 seconds
// later" happen at once. The walker keeps its own monotonic reading; it never needs replacing.
#include <chrono>

namespace kelvor {

class Clock {
public:
    virtual ~Clock() = default;

    // The wall-clock time now, for records and ages of files.
    virtual std::chrono::system_clock::time_point now() = 0;

    // Seconds since an arbitrary start on a clock that never jumps, for intervals and throttles.
    virtual double monotonicSeconds() = 0;

    // Waits `span` (a step of a polling loop); a test clock moves on instead of waiting.
    virtual void sleep(std::chrono::duration<double> span) = 0;

    // The system's clock. Shared and never destroyed.
    static Clock& real();
};

// Forwards every call to another clock; a test derives from it and overrides what it changes.
class ClockWrapper : public Clock {
public:
    explicit ClockWrapper(Clock& target) : target_(target) {}
    Clock& target() { return target_; }

    std::chrono::system_clock::time_point now() override { return target_.now(); }
    double monotonicSeconds() override { return target_.monotonicSeconds(); }
    void sleep(std::chrono::duration<double> span) override { target_.sleep(span); }

private:
    Clock& target_;
};

// A clock that stands still until it is advanced: both readings move by exactly the amount given.
class ManualClock : public Clock {
public:
    explicit ManualClock(std::chrono::system_clock::time_point start = std::chrono::system_clock::time_point(
                             std::chrono::seconds(1'700'000'000)))
        : wall_(start) {}

    std::chrono::system_clock::time_point now() override { return wall_; }
    double monotonicSeconds() override { return monotonic_; }
    void sleep(std::chrono::duration<double> span) override { advance(span); }

    // Moves both readings forward by `step` (never backward: a negative step is ignored).
    void advance(std::chrono::duration<double> step) {
        if (step.count() <= 0) return;
        wall_ += std::chrono::duration_cast<std::chrono::system_clock::duration>(step);
        monotonic_ += step.count();
    }

private:
    std::chrono::system_clock::time_point wall_;
    double monotonic_ = 0;
};

}  // namespace kelvor
