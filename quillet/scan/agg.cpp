#include "quillet/scan/agg.hpp"

#include <algorithm>

namespace kelvor {

bool WorkerTally::empty() const { return bytes.empty() && files == 0 && dirs == 0 && errors == 0 && denied == 0; }

Snapshot snapshotOf(double t, const std::vector<std::uint64_t>& totals) {
    Snapshot snapshot{t, 0, {}};
    snapshot.top.reserve(std::min(totals.size(), SNAPSHOT_TOP) + 1);
    // Larger first, earlier index first among equals: the order reports rank buckets in.
    auto before = [](const BucketBytes& a, const BucketBytes& b) {
        return a.bytes != b.bytes ? a.bytes > b.bytes : a.index < b.index;
    };
    for (std::size_t i = 0; i < totals.size(); ++i) {
        snapshot.bytes += totals[i];
        BucketBytes bucket{static_cast<std::uint32_t>(i), totals[i]};
        if (snapshot.top.size() == SNAPSHOT_TOP && !before(bucket, snapshot.top.back())) continue;
        snapshot.top.insert(std::upper_bound(snapshot.top.begin(), snapshot.top.end(), bucket, before), bucket);
        if (snapshot.top.size() > SNAPSHOT_TOP) snapshot.top.pop_back();
    }
    return snapshot;
}

double monotonicSeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

Agg::Agg(std::vector<std::string> bucketNames, double start)
    : bucketNames_(std::move(bucketNames)), totals_(bucketNames_.size(), 0), start_(start) {}

void Agg::flush(WorkerTally& local) {
    if (local.empty()) return;
    {
        std::lock_guard guard(lock_);
        for (const auto& [bucket, bytes] : local.bytes)
            if (bucket >= 0 && static_cast<std::size_t>(bucket) < totals_.size()) totals_[static_cast<std::size_t>(bucket)] += bytes;
        files_ += local.files;
        dirs_ += local.dirs;
        errors_ += local.errors;
        denied_ += local.denied;
    }
    local.bytes.clear();
    local.files = local.dirs = local.errors = local.denied = 0;
}

bool Agg::claimLinkedFile(const LinkSighting& sighting) {
    return linkedFiles_.claim(sighting.device, sighting.fileID, sighting.linkCount, sighting.allocSize);
}

std::uint64_t Agg::claimLinkedFiles(LinkBatch& batch) { return linkedFiles_.claimAll(batch); }

void Agg::sample() {
    std::lock_guard guard(lock_);
    snapshots_.push_back(snapshotOf(monotonicSeconds() - start_, totals_));
}

AggState Agg::state() const {
    std::lock_guard guard(lock_);
    return {bucketNames_, totals_, files_, dirs_, errors_, denied_, linkedFiles_.dupes(), snapshots_};
}

std::uint64_t Agg::bytesLinkedOutside() const { return linkedFiles_.bytesLinkedOutside(); }

Sampler::Sampler(Agg& agg) : agg_(agg) {
    // The first snapshot is taken here, so even a sampler stopped at once has recorded the start.
    agg_.sample();
    thread_ = std::thread([this] {
        std::unique_lock running(runningLock_);
        while (!wake_.wait_for(running, SAMPLE_EVERY, [this] { return !running_; })) agg_.sample();
    });
}

Sampler::~Sampler() { stop(); }

void Sampler::stop() {
    {
        std::lock_guard running(runningLock_);
        running_ = false;
    }
    wake_.notify_all();
    if (thread_.joinable()) thread_.join();
}

}  // namespace kelvor
