#pragma once
// The shared aggregate of one scan: per-bucket allocated bytes, counters, the multiply-linked files
// already counted, and the growth record the sampler keeps. Totals and counters are behind one lock
// taken once per flush; the linked files have their own sharded set, claimed once per sighting.
#include <chrono>
#include <cstddef>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "quillet/scan/linked_files.hpp"

namespace kelvor {

// How many of the largest buckets a snapshot keeps: enough for every ranking a report shows,
// and few enough that sampling a scan with any number of buckets stays small.
inline constexpr std::size_t SNAPSHOT_TOP = 20;

// One bucket's bytes at a moment.
struct BucketBytes {
    std::uint32_t index = 0;
    std::uint64_t bytes = 0;
    bool operator==(const BucketBytes&) const = default;
};

// The totals at one moment of a scan: their sum and the largest buckets, not every bucket.
struct Snapshot {
    double t = 0;                  // seconds since the scan's start
    std::uint64_t bytes = 0;       // all buckets together
    std::vector<BucketBytes> top;  // the SNAPSHOT_TOP largest, largest first, earlier index first on ties
};

// The snapshot at time `t` of `totals` (bytes per bucket).
Snapshot snapshotOf(double t, const std::vector<std::uint64_t>& totals);

// What one worker has counted since its last flush.
struct WorkerTally {
    std::unordered_map<int, std::uint64_t> bytes;  // bucket index -> allocated bytes
    std::uint64_t files = 0;
    std::uint64_t dirs = 0;
    std::uint64_t errors = 0;
    std::uint64_t denied = 0;
    // True when there is nothing to add.
    bool empty() const;
};

// A consistent copy of an aggregate, for reports and measurements.
struct AggState {
    std::vector<std::string> bucketNames;
    std::vector<std::uint64_t> totals;  // same order as bucketNames
    std::uint64_t files = 0;
    std::uint64_t dirs = 0;
    std::uint64_t errors = 0;
    std::uint64_t denied = 0;
    std::uint64_t hardlinkDupes = 0;
    std::vector<Snapshot> snapshots;
};

// Seconds on the monotonic clock.
double monotonicSeconds();

class Agg {
public:
    // Totals of 0 for each bucket; `start` is the monotonic time snapshots are measured from.
    Agg(std::vector<std::string> bucketNames, double start);

    // Adds `local` into the totals and counters and empties it; an empty tally takes no lock.
    void flush(WorkerTally& local);

    // Records a sighting of a multiply-linked file. True on the first sighting of its device and
    // file ID (its
    // bytes are to be counted); every later sighting adds 1 to hardlinkDupes and returns false.
    bool claimLinkedFile(const LinkSighting& sighting);
    // Claims every sighting of `batch` (and empties it); returns the bytes of the first sightings.
    std::uint64_t claimLinkedFiles(LinkBatch& batch);

    // Appends a snapshot of the totals taken now.
    void sample();

    // Everything, copied under the lock.
    AggState state() const;

    // Allocated bytes of the multiply-linked files seen fewer times than their link count: files
    // that also have links outside what was walked.
    std::uint64_t bytesLinkedOutside() const;

private:
    mutable std::mutex lock_;
    std::vector<std::string> bucketNames_;
    std::vector<std::uint64_t> totals_;
    std::uint64_t files_ = 0;
    std::uint64_t dirs_ = 0;
    std::uint64_t errors_ = 0;
    std::uint64_t denied_ = 0;
    LinkedFiles linkedFiles_;
    std::vector<Snapshot> snapshots_;
    double start_;
};

// How often the sampler records a snapshot.
inline constexpr std::chrono::milliseconds SAMPLE_EVERY{50};

// A thread that records a snapshot into an aggregate at once and then every SAMPLE_EVERY, until
// stopped (or destroyed).
class Sampler {
public:
    explicit Sampler(Agg& agg);
    ~Sampler();
    Sampler(const Sampler&) = delete;
    Sampler& operator=(const Sampler&) = delete;

    // Ends the sampling thread and waits for it; later calls do nothing.
    void stop();

private:
    Agg& agg_;
    std::mutex runningLock_;
    std::condition_variable wake_;
    bool running_ = true;
    std::thread thread_;
};

}  // namespace kelvor
