#include "quillet/dupes/find_duplicates.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <optional>

#include "quillet/i18n/text.hpp"
#include "quillet/platform/clone.hpp"
#include "quillet/platform/digest.hpp"
#include "quillet/platform/printable.hpp"
#include "quillet/platform/workers.hpp"

namespace kelvor {

namespace {

// A hashing worker holds only its block buffer on the heap; its stack stays small.
constexpr std::size_t HASH_WORKER_STACK_BYTES = 1'048'576;

int linkCount(const std::string& path) {
    struct stat st {};
    return ::lstat(path.c_str(), &st) == 0 ? static_cast<int>(st.st_nlink) : 1;
}

// Keeper order: a multiply-linked copy first (removing it would free nothing), then store copies
// (tools find their files there), then the byte-wise smaller path.
void orderForKeeping(std::vector<ModelCopy>& copies) {
    std::vector<std::pair<bool, ModelCopy>> ranked;
    for (ModelCopy& copy : copies) ranked.emplace_back(linkCount(copy.path) >= 2, std::move(copy));
    std::stable_sort(ranked.begin(), ranked.end(), [](const auto& a, const auto& b) {
        if (a.first != b.first) return a.first;
        if (a.second.inToolStore != b.second.inToolStore) return a.second.inToolStore;
        return a.second.path < b.second.path;
    });
    copies.clear();
    for (auto& entry : ranked) copies.push_back(std::move(entry.second));
}

DupeIdentity identityIn(const DupeGroup& group, const std::string& path) {
    auto found = group.identities.find(path);
    return found == group.identities.end() ? DupeIdentity{} : found->second;
}

// One file on the disk, whatever number of names it has among the candidates: it is read once.
struct Stored {
    std::vector<const ModelCopy*> names;
    std::optional<std::string> digest;
    std::optional<std::string> sample;
    const Stored* sameBlocksAs = nullptr;  // another file whose very blocks this one reads
    std::string blocks;                     // and where they lie, as storageMap gave it
};

// Runs `work(i)` for every i below `count` on up to `threads` workers.
void onWorkers(std::size_t count, int threads, const std::function<void(std::size_t)>& work) {
    std::atomic<std::size_t> next{0};
    int workers = static_cast<int>(std::min<std::size_t>(count, static_cast<std::size_t>(std::max(threads, 1))));
    if (workers == 0) return;
    runWorkers(workers, HASH_WORKER_STACK_BYTES, [&](int) {
        for (std::size_t i; (i = next.fetch_add(1)) < count;) work(i);
    });
}

// The files of one size class, each stored file once: hard links to one file share an entry. A
// copy that cannot be examined drops out.
std::vector<Stored> storedFiles(const std::vector<const ModelCopy*>& sameSize) {
    std::map<std::pair<dev_t, ino_t>, std::size_t> seen;
    std::vector<Stored> stored;
    for (const ModelCopy* copy : sameSize) {
        struct stat st {};
        if (::lstat(copy->path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) continue;
        auto [at, isNew] = seen.try_emplace({st.st_dev, st.st_ino}, stored.size());
        if (isNew) stored.emplace_back();
        stored[at->second].names.push_back(copy);
    }
    return stored;
}

}  // namespace

std::vector<DupeGroup> findDuplicates(const std::vector<ModelCopy>& copies, DigestCache& cache, int& hashed,
                                      std::uint64_t& hashedBytes, int threads) {
    std::map<std::uint64_t, std::vector<const ModelCopy*>> bySize;
    for (const ModelCopy& copy : copies) bySize[copy.bytes].push_back(&copy);
    // Hashing multi-gigabyte files is the whole cost of a run, so a file is read in full only when
    // another file of its size could still hold the same bytes: each stored file once (however many
    // links it has), a cached digest where one still matches, and otherwise a cheap sample digest
    // first (start, middle, end) that sets apart most unequal files of one size. Only the full
    // SHA-256 ever proves a group.
    std::map<std::uint64_t, std::vector<Stored>> classes;
    for (const auto& [size, sameSize] : bySize) {
        if (sameSize.size() < 2) continue;
        std::vector<Stored> stored = storedFiles(sameSize);
        if (stored.size() < 2) continue;
        for (Stored& file : stored)
            for (const ModelCopy* name : file.names)
                if (!file.digest) file.digest = cache.lookup(name->path);
        classes[size] = std::move(stored);
    }
    // A file at most three sample spans long is read whole by its sample: hashing it is no dearer.
    std::vector<Stored*> toSample;
    for (auto& [size, stored] : classes) {
        if (size <= 3 * SAMPLE_SPAN_BYTES) continue;
        std::size_t uncached = 0;
        for (const Stored& file : stored) uncached += file.digest ? 0 : 1;
        if (uncached == 0) continue;
        for (Stored& file : stored) toSample.push_back(&file);
    }
    onWorkers(toSample.size(), threads, [&](std::size_t i) {
        toSample[i]->sample = sha256Samples(toSample[i]->names.front()->path, toSample[i]->names.front()->bytes);
    });
    std::vector<Stored*> toHash;
    for (auto& [size, stored] : classes) {
        bool sampled = size > 3 * SAMPLE_SPAN_BYTES;
        std::vector<Stored*> candidates;
        for (Stored& file : stored) {
            if (file.digest || (sampled && !file.sample)) continue;
            bool mayMatch = !sampled;
            for (const Stored& other : stored)
                mayMatch = mayMatch || (&other != &file && other.sample == file.sample);
            if (mayMatch) candidates.push_back(&file);
        }
        // A copy-on-write clone stored in exactly the blocks of another candidate reads the same
        // bytes from the same place: it takes that file's digest instead of reading them again.
        std::map<std::string, Stored*> byBlocks;
        for (Stored* file : candidates) {
            std::optional<std::string> blocks =
                candidates.size() > 1 ? storageMap(file->names.front()->path) : std::nullopt;
            if (blocks) {
                auto [first, isNew] = byBlocks.try_emplace(*blocks, file);
                if (!isNew) {
                    file->sameBlocksAs = first->second;
                    file->blocks = *blocks;
                    continue;
                }
            }
            toHash.push_back(file);
        }
    }
    // The largest first, so the workers end together.
    std::stable_sort(toHash.begin(), toHash.end(),
                     [](const Stored* a, const Stored* b) { return a->names.front()->bytes > b->names.front()->bytes; });
    std::vector<std::uint64_t> readBytes(toHash.size(), 0);
    onWorkers(toHash.size(), threads,
              [&](std::size_t i) { toHash[i]->digest = sha256File(toHash[i]->names.front()->path, readBytes[i]); });
    for (std::size_t i = 0; i < toHash.size(); ++i) {
        hashedBytes += readBytes[i];
        if (!toHash[i]->digest) continue;
        ++hashed;
        for (const ModelCopy* name : toHash[i]->names) cache.remember(name->path, *toHash[i]->digest);
    }
    for (auto& [size, stored] : classes)
        for (Stored& file : stored) {
            if (!file.sameBlocksAs || !file.sameBlocksAs->digest) continue;
            // Written to while the other was read, it has blocks of its own now: unproven, it drops out.
            if (storageMap(file.names.front()->path) != file.blocks) continue;
            file.digest = file.sameBlocksAs->digest;
            for (const ModelCopy* name : file.names) cache.remember(name->path, *file.digest);
        }
    std::vector<DupeGroup> groups;
    for (const auto& [size, stored] : classes) {
        std::map<std::string, std::vector<ModelCopy>> byDigest;
        for (const Stored& file : stored)
            if (file.digest)
                for (const ModelCopy* name : file.names) byDigest[*file.digest].push_back(*name);
        for (auto& [digest, same] : byDigest) {
            if (same.size() < 2) continue;
            orderForKeeping(same);
            DupeGroup group{digest, size, {same.front()}, {}};
            for (std::size_t i = 1; i < same.size(); ++i)
                if (!sharesExtents(same.front().path, same[i].path, size)) group.copies.push_back(same[i]);
            if (group.copies.size() < 2) continue;
            for (const ModelCopy& copy : group.copies)
                if (std::optional<DupeIdentity> identity = inoCtime(copy.path)) group.identities[copy.path] = *identity;
            groups.push_back(std::move(group));
        }
    }
    std::stable_sort(groups.begin(), groups.end(),
                     [](const DupeGroup& a, const DupeGroup& b) { return a.reclaimable() > b.reclaimable(); });
    return groups;
}

DupeProof& DupeProof::shared() {
    static DupeProof proof;
    return proof;
}

void DupeProof::record(const std::vector<DupeGroup>& groups) {
    std::lock_guard<std::mutex> hold(lock_);
    proofs_.clear();
    for (const DupeGroup& group : groups)
        for (std::size_t i = 1; i < group.copies.size(); ++i)
            proofs_[group.copies[i].path] = Proof{group.copies.front().path, group.digest,
                                                  identityIn(group, group.copies[i].path),
                                                  identityIn(group, group.copies.front().path)};
}

std::map<std::string, DupeProof::Proof> DupeProof::proofs() const {
    std::lock_guard<std::mutex> hold(lock_);
    return proofs_;
}

std::optional<std::string> DupeProof::evidence(const std::string& path) const {
    std::lock_guard<std::mutex> hold(lock_);
    auto found = proofs_.find(path);
    if (found == proofs_.end()) return std::nullopt;
    return trf(S::dupesProofEvidence, {escapeControls(found->second.keeper), found->second.digest.substr(0, 12)});
}

std::optional<std::string> DupeProof::refusal(const std::string& path) const {
    std::optional<Proof> proof;
    {
        std::lock_guard<std::mutex> hold(lock_);
        if (auto found = proofs_.find(path); found != proofs_.end()) proof = found->second;
    }
    // The files are looked at outside the lock: a slow disk must not hold up the other readers.
    if (proof && inoCtime(path) == proof->copyIdentity && inoCtime(proof->keeper) == proof->keeperIdentity)
        return std::nullopt;
    return trf(S::dupesProofStale);
}

}  // namespace kelvor
