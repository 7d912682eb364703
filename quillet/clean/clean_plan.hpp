#pragma once
// The clean plan: which measured hits a clean would move, printed before anything moves.
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "quillet/main/settings.hpp"
#include "quillet/rules/hit.hpp"

namespace kelvor {

// One planned removal.
struct CleanTarget {
    Rule rule;
    std::string path;
    TreeStat stat;
    std::optional<std::string> linkedFrom;
    std::vector<std::string> excludedInside;  // excluded paths inside: the target is blocked
    std::vector<std::string> swallowed;       // other catalog items inside, not part of this run

    bool blocked() const { return !excludedInside.empty(); }
};

struct PlanOptions {
    std::set<Tier> tiers{Tier::redownload, Tier::regenerate};
    bool includeUnverified = false;
    std::optional<std::string> ownerFilter;  // matched against the owner, ignoring case
};

// The catalog paths that lie strictly inside `chosen` and are not among `runPaths`.
std::vector<std::string> swallowedByMove(const std::string& chosen, const std::vector<std::string>& catalogPaths,
                                         const std::vector<std::string>& runPaths);

// The hits a clean with these options takes, in hit order, each with the other hits it holds.
std::vector<CleanTarget> planFromHits(const std::vector<Hit>& hits, const PlanOptions& options);

// The plan's lines: header, one line per free target (label, size, path) or "Nothing to clean.",
// then the blocked targets under "guard-blocked:" with their reasons.
std::string renderCleanPlan(const std::vector<CleanTarget>& targets, const PlanOptions& options);

// `--mode clean`: measures the hits, prints the plan and moves nothing.
int runClean(const Settings& settings);

}  // namespace kelvor
