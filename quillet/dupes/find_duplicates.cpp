#include "quillet/dupes/find_duplicates.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <atomic>

#include "quillet/platform/clone.hpp"
#include "quillet/platform/digest.hpp"
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

}  // namespace

std::vector<DupeGroup> findDuplicates(const std::vector<ModelCopy>& copies, DigestCache& cache, int& hashed,
                                      std::uint64_t& hashedBytes, int threads) {
    std::map<std::uint64_t, std::vector<const ModelCopy*>> bySize;
    for (const ModelCopy& copy : copies) bySize[copy.bytes].push_back(&copy);
    // Every copy that shares its size with another and has no cached digest is hashed, on up to
    // `threads` workers: hashing a multi-gigabyte file is the whole cost of a run.
    std::vector<const ModelCopy*> toHash;
    std::map<const ModelCopy*, std::optional<std::string>> digests;
    for (const auto& [size, sameSize] : bySize) {
        if (sameSize.size() < 2) continue;
        for (const ModelCopy* copy : sameSize) {
            std::optional<std::string> cached = cache.lookup(copy->path);
            if (cached)
                digests[copy] = cached;
            else
                toHash.push_back(copy);
        }
    }
    std::vector<std::optional<std::string>> computed(toHash.size());
    std::vector<std::uint64_t> readBytes(toHash.size(), 0);
    std::atomic<std::size_t> next{0};
    int workers = static_cast<int>(std::min<std::size_t>(toHash.size(), static_cast<std::size_t>(std::max(threads, 1))));
    if (workers > 0)
        runWorkers(workers, HASH_WORKER_STACK_BYTES, [&](int) {
            for (std::size_t i; (i = next.fetch_add(1)) < toHash.size();)
                computed[i] = sha256File(toHash[i]->path, readBytes[i]);
        });
    for (std::size_t i = 0; i < toHash.size(); ++i) {
        hashedBytes += readBytes[i];
        if (computed[i]) {
            ++hashed;
            cache.remember(toHash[i]->path, *computed[i]);
        }
        digests[toHash[i]] = computed[i];
    }
    std::vector<DupeGroup> groups;
    for (const auto& [size, sameSize] : bySize) {
        if (sameSize.size() < 2) continue;
        std::map<std::string, std::vector<ModelCopy>> byDigest;
        for (const ModelCopy* copy : sameSize)
            if (const std::optional<std::string>& digest = digests[copy]) byDigest[*digest].push_back(*copy);
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
            proofs_[group.copies[i].path] = Proof{group.copies.front().path, group.digest};
}

std::map<std::string, DupeProof::Proof> DupeProof::proofs() const {
    std::lock_guard<std::mutex> hold(lock_);
    return proofs_;
}

}  // namespace kelvor
