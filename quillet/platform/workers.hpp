#pragma once
// Threads with a chosen stack size: a fixed group started and waited for together, or a group that
// grows while it runs.
#include <cstddef>
#include <functional>
#include <memory>

namespace kelvor {

// Runs `body(index)` on `count` new threads (index 0 to count - 1), each with a stack of
// `stackBytes`, and returns when every one has ended. When the system refuses to start a thread,
// the bodies that did start still run; when none could start, body(0) runs on the calling thread,
// so the work is always done. Returns how many threads ran.
int runWorkers(int count, std::size_t stackBytes, const std::function<void(int)>& body);

// Threads each running `body(index)`, indexes counting from 0 in the order they start; more can be
// started at any time before join(). Used from one thread only.
class WorkerGroup {
public:
    WorkerGroup(std::size_t stackBytes, std::function<void(int)> body);
    ~WorkerGroup();  // joins
    WorkerGroup(const WorkerGroup&) = delete;
    WorkerGroup& operator=(const WorkerGroup&) = delete;

    // Starts threads until `count` have started; returns how many have. Fewer when the system
    // refuses one (it is not asked again).
    int growTo(int count);

    // Waits for every started thread; when none could start, runs body(0) on the calling thread
    // first, so the work is always done. Returns how many ran. Later calls return 0.
    int join();

private:
    struct Started;  // the system's thread handles
    std::size_t stackBytes_;
    std::function<void(int)> body_;
    std::unique_ptr<Started> started_;
    bool refused_ = false;
    bool joined_ = false;
};

}  // namespace kelvor
