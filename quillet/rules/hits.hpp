#pragma once
// The measured hits that the planner and the reports work from.
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "quillet/rules/hit.hpp"
#include "quillet/rules/resolve.hpp"

namespace kelvor {

// How long one store may take to measure before its hit is marked timed out.
inline constexpr std::chrono::seconds STORE_MEASURE_LIMIT{120};

// Does the rule's evidence still hold at `path`: it exists, is a folder (or a file, for a rule
// that names one), belongs to the person running Kelvor, and is neither the home folder nor above it.
bool ruleEvidenceHolds(const Rule& rule, const std::string& path);

// The rule as shown for a store that an environment variable moved: a verified rule loses its
// verified mark and its component carries the relocation note; an unmoved rule is unchanged.
Rule demotedIfRelocated(const Rule& rule, const std::optional<std::string>& relocated);

// The rule unchanged: the per-store proofs that would demote it are not part of this build.
Rule demotedIfUnprovable(const Rule& rule, const std::string& path);

// Folders that contain other hits lose the measured bytes of the hits directly inside them (never
// below 0), so nested bytes count once at any depth, with one "scan" log line each; every hit stays.
std::vector<Hit> dedupeNested(std::vector<Hit> hits);

// Paths of Kelvor's own records: the data folder and everything below it.
bool isOwnState(const std::string& path);

struct MeasureProgress {
    size_t storesDone = 0;
    size_t storesTotal = 0;
    std::uint64_t bytesSoFar = 0;
};

struct HitCallbacks {
    std::function<void(const Hit&)> onHit;                      // each new hit, in order
    std::function<void(const MeasureProgress&)> onMeasured;     // after each store measured
};

using TreeMeasure = std::function<TreeStat(const std::string& path, int threads)>;

// The hits of `resolved`, in its order: evidence checked, measured, empty stores dropped,
// demoted, excluded paths and Kelvor's own state dropped, nested sizes corrected; a hit holding an
// excluded path keeps it in excludedInside and loses that path's measured bytes (unless a nested
// hit already took them).
std::vector<Hit> collectHitsFrom(const std::vector<ResolvedRule>& resolved, int threads,
                                 const HitCallbacks& callbacks, const TreeMeasure& measure);

// The hits of every rule on this machine, measured with the walker.
std::vector<Hit> collectHits(int threads, const HitCallbacks& callbacks = {});

}  // namespace kelvor
