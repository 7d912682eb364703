#include "quillet/scan/harness.hpp"

#include <algorithm>
#include <cstdio>
#include <numeric>

#include "quillet/i18n/text.hpp"
#include "quillet/log/log.hpp"
#include "quillet/platform/printable.hpp"
#include "quillet/scan/agg.hpp"
#include "quillet/scan/buckets.hpp"
#include "quillet/scan/file_manager.hpp"
#include "quillet/scan/report.hpp"
#include "quillet/scan/walker.hpp"

namespace kelvor {

namespace {

std::string joined(const std::vector<WalkerRun>& walkers) {
    std::string out;
    for (const WalkerRun& run : walkers) out += (out.empty() ? "" : ", ") + run.name;
    return out;
}

void printLine(const std::string& text) { std::printf("%s\n", text.c_str()); }

// "16 threads", or "2 to 16 threads" for a walk that grows on a cold disk.
std::string workersText(const WalkWorkers& workers) {
    std::string text = std::to_string(workers.most) + (workers.most == 1 ? " thread" : " threads");
    return workers.first == workers.most ? text : std::to_string(workers.first) + " to " + text;
}

// One walker over the buckets, timed from before the root's own files are counted.
void runWalker(const WalkerRun& run, const Settings& settings, const Buckets& buckets) {
    const std::string& mode = run.name;
    const double start = monotonicSeconds();
    Agg agg(buckets.names, start);
    const std::uint64_t rootFileBytes = countRootFiles(buckets, agg);
    double wall = 0;
    const bool everyWorker = run.walker == Walker::parallel || run.walker == Walker::breadthFirst;
    const WalkWorkers workers = everyWorker ? settings.walkWorkers : exactWalkWorkers(1);
    {
        Sampler sampler(agg);
        switch (run.walker) {
            case Walker::fileManager: scanFileManager(settings.root, agg, bucketIndex(buckets)); break;
            case Walker::bulk:
            case Walker::parallel: scanBulk(workers, agg, buckets.seeds, QueueOrder::depthFirst); break;
            case Walker::breadthFirst: scanBulk(workers, agg, buckets.seeds, QueueOrder::breadthFirst); break;
        }
        wall = monotonicSeconds() - start;
        sampler.stop();
    }
    agg.sample();
    AggState state = agg.state();
    std::fputs(report(mode, state, wall, rootFileBytes).c_str(), stdout);
    std::fflush(stdout);
    // The exact figures, which the report rounds, for anyone checking a walker against another count.
    std::uint64_t bytes = std::accumulate(state.totals.begin(), state.totals.end(), rootFileBytes);
    char wallText[32];
    std::snprintf(wallText, sizeof wallText, "%.3f", wall);
    KelvorLog::write("scan", "scan-speed " + mode + " of " + settings.root + ": " + std::to_string(bytes) +
                                 " bytes, " + std::to_string(state.files) + " files, " + std::to_string(state.dirs) +
                                 " dirs, " + std::to_string(state.hardlinkDupes) + " hardlink dupes, " +
                                 std::to_string(state.errors) + " errors, " + std::to_string(state.denied) +
                                 " denied, " + wallText + " s, " + workersText(workers));
}

}  // namespace

int runScanSpeed(const Settings& settings, const std::vector<WalkerRun>& walkers) {
    const int threads = std::max(1, settings.threads);
    const Buckets buckets = makeBuckets(settings.root);
    printLine(trf(S::scanRootLine, {escapeControls(settings.root)}));
    printLine(trf(S::scanThreadsLine, {std::to_string(threads)}));
    printLine(trf(S::scanModesLine, {joined(walkers)}));
    printLine(trf(S::scanBucketsLine, {std::to_string(buckets.names.size())}));
    std::fflush(stdout);
    for (const WalkerRun& run : walkers) runWalker(run, settings, buckets);
    return 0;
}

}  // namespace kelvor
