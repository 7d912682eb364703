#include "quillet/platform/clock.hpp"

#include <thread>

namespace kelvor {

namespace {

// The standard clocks are the same on every system, so the real clock needs no backend file.
class SystemClock final : public Clock {
public:
    std::chrono::system_clock::time_point now() override { return std::chrono::system_clock::now(); }
    double monotonicSeconds() override {
        return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
    }
    void sleep(std::chrono::duration<double> span) override { std::this_thread::sleep_for(span); }
};

}  // namespace

Clock& Clock::real() {
    static auto* clock = new SystemClock();
    return *clock;
}

}  // namespace kelvor
