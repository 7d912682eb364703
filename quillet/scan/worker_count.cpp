#include "quillet/scan/worker_count.hpp"

#include <algorithm>

namespace kelvor {

int defaultWalkWorkers(int processors) {
    const int online = std::max(1, processors);
    // Never fewer than the processors, so a machine with more of them than the cap still uses all.
    return std::max(online, std::min(online * WALK_WORKERS_PER_PROCESSOR, WALK_WORKERS_MOST));
}

WalkWorkers growingWalkWorkers(int processors) { return {std::max(1, processors), defaultWalkWorkers(processors)}; }

WalkWorkers exactWalkWorkers(int count) {
    const int exact = std::max(1, count);
    return {exact, exact};
}

int grownWalkWorkers(int running, const WalkWorkers& workers) {
    return std::clamp(2 * std::max(1, running), 1, std::max(1, workers.most));
}

bool walkReadsDisk(std::uint64_t bytesRead) { return bytesRead >= WALK_DISK_READ_LEAST; }

bool walkWaitsOnDisk(std::uint64_t bytesRead, double processorsBusy, int running, const WalkWorkers& workers) {
    const int processors = std::max(1, std::min(running, workers.first));
    return walkReadsDisk(bytesRead) && processorsBusy < WALK_BUSY_SHARE * processors;
}

}  // namespace kelvor
