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
};

struct PlanOptions {
    std::set<Tier> tiers{Tier::redownload, Tier::regenerate};
    bool includeUnverified = false;
    std::optional<std::string> ownerFilter;  // matched against the owner, ignoring case
};

// The hits a clean with these options takes, in hit order.
std::vector<CleanTarget> planFromHits(const std::vector<Hit>& hits, const PlanOptions& options);

// The plan's lines: header, one line per target (label, size, path), or "Nothing to clean.".
std::string renderCleanPlan(const std::vector<CleanTarget>& targets, const PlanOptions& options);

// `--mode clean`: measures the hits, prints the plan and moves nothing.
int runClean(const Settings& settings);

}  // namespace kelvor
