#include "quillet/platform/processor_time.hpp"

#include <time.h>

namespace kelvor {

std::chrono::nanoseconds processorTimeUsed() {
    struct timespec now {};
    // The process clock sums every thread's time, in the kernel and out of it.
    if (::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now) != 0) return {};
    return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

}  // namespace kelvor
