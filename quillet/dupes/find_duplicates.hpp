#pragma once
// Proving copies identical: same size first, then the full SHA-256, then dropping copies that
// already share their storage with the one that stays.
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
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
        DupeIdentity copyIdentity;    // what the copy and its keeper were when compared
        DupeIdentity keeperIdentity;
    };
    static DupeProof& shared();
    // Replaces the proofs with the redundant copies of `groups`.
    void record(const std::vector<DupeGroup>& groups);
    std::map<std::string, Proof> proofs() const;
    // The evidence line for the redundant copy at `path` ("Byte-identical to … — a copy; the
    // original stays"); none when no proof names it.
    std::optional<std::string> evidence(const std::string& path) const;
    // Why the copy at `path` may not be removed as a duplicate: it has no proof, or it or its keeper
    // is no longer what was compared. None while the proof still holds.
    std::optional<std::string> refusal(const std::string& path) const;

private:
    mutable std::mutex lock_;
    std::map<std::string, Proof> proofs_;
};

}  // namespace kelvor
