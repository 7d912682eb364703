#pragma once
// A fixed group of threads with a chosen stack size, started together and waited for together.
#include <cstddef>
#include <functional>

namespace kelvor {

// Runs `body(index)` on `count` new threads (index 0 to count - 1), each with a stack of
// `stackBytes`, and returns when every one has ended. When the system refuses to start a thread,
// the bodies that did start still run; when none could start, body(0) runs on the calling thread,
// so the work is always done. Returns how many threads ran.
int runWorkers(int count, std::size_t stackBytes, const std::function<void(int)>& body);

}  // namespace kelvor
