#include "quillet/scan/measure.hpp"

#include "quillet/platform/dirs.hpp"
#include "quillet/scan/agg.hpp"
#include "quillet/scan/walker.hpp"

namespace kelvor {

TreeStat measureTree(const std::string& path, int threads, std::chrono::milliseconds timeLimit) {
    const Deadline deadline = std::chrono::steady_clock::now() + timeLimit;
    TreeStat stat;
    Result<BulkEntry> top = entryAt(path);
    if (!top) {
        if (top.error().kind == ErrorKind::denied) stat.denied = 1;
        return stat;
    }
    if (top->objType == VREG) {
        stat.bytes = top->allocSize;
        stat.files = 1;
        if (top->linkCount > 1) stat.shared = top->allocSize;
        return stat;
    }
    if (top->objType != VDIR) return stat;

    Agg agg({path}, monotonicSeconds());
    WalkEnd end = scanBulk(threads, agg, {{path, 0}}, QueueOrder::depthFirst, deadline);
    AggState state = agg.state();
    stat.bytes = state.totals.front();
    stat.files = state.files;
    stat.denied = state.denied + state.errors;
    stat.timedOut = end == WalkEnd::cancelled;
    stat.shared = agg.bytesLinkedOutside();
    return stat;
}

}  // namespace kelvor
