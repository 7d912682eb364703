#pragma once
// How much processor time this process has used.
#include <chrono>

namespace kelvor {

// Processor time used by every thread of this process since it started.
std::chrono::nanoseconds processorTimeUsed();

}  // namespace kelvor
