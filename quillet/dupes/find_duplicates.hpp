#pragma once
// Proving copies identical: same size first, then the full SHA-256, then dropping copies that
// already share their storage with the one that stays.
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "quillet/dupes/digest_cache.hpp"
#include "quillet/dupes/model_copy.hpp"

namespace kelvor {

// The groups of byte-identical copies among `copies`, each in keeper order (multiply-linked
// first, then store copies, then by path), largest reclaimable first. Files read are counted in
// `hashed` and `hashedBytes`; digests come from `cache` when it still matches, and go into it.
// Files are hashed on up to `threads` workers.
std::vector<DupeGroup> findDuplicates(const std::vector<ModelCopy>& copies, DigestCache& cache, int& hashed,
                                      std::uint64_t& hashedBytes, int threads = 1);

// Which copies were proven identical to which keeper: shared with the clean planner, read and
// written under its own lock.
class DupeProof {
public:
    struct Proof {
        std::string keeper;
        std::string digest;
    };
    static DupeProof& shared();
    // Replaces the proofs with the redundant copies of `groups`.
    void record(const std::vector<DupeGroup>& groups);
    std::map<std::string, Proof> proofs() const;

private:
    mutable std::mutex lock_;
    std::map<std::string, Proof> proofs_;
};

}  // namespace kelvor
