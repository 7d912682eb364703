#pragma once
// The clean plan: which measured hits a clean would move, printed before anything moves.
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "quillet/guards/guards.hpp"
#include "quillet/main/settings.hpp"
#include "quillet/platform/fsops.hpp"
#include "quillet/platform/procs.hpp"
#include "quillet/rules/hit.hpp"
#include "quillet/rules/hits.hpp"

namespace kelvor {

// One planned removal.
struct CleanTarget {
    Rule rule;
    std::string path;
    TreeStat stat;
    std::optional<std::string> linkedFrom;
    std::vector<std::string> excludedInside;  // excluded paths inside: the target is blocked
    std::vector<std::string> swallowed;       // other catalog items inside, not part of this run
    std::vector<GuardViolation> violations;   // empty: free to move
    std::optional<PathIdentity> identity;     // what was measured, checked again before the move

    bool blocked() const { return !excludedInside.empty() || !violations.empty(); }
    // Blocked by something --force does not override: excluded paths inside, or a hard violation.
    bool hardBlocked() const;
    // A running executable lies inside: moving it may upset that process.
    bool holdsRunningBinary = false;
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

// True when the rule's items go to the quarantine rather than the Trash: not verified, or of the
// review or protected tier.
bool quarantineRecommended(const Rule& rule);

// Passes every target through the guards with the process list and open files gathered once.
// Without a process list every target is blocked with the note that says so.
void guardTargets(std::vector<CleanTarget>& targets, ProcessTable& table = ProcessTable::real(),
                  FileOps& files = FileOps::real());

// The whole plan: the measured hits the options take, each guarded.
struct CleanPlan {
    std::vector<Hit> hits;
    std::vector<CleanTarget> targets;
};
CleanPlan buildCleanPlan(int threads, const PlanOptions& options, const HitCallbacks& callbacks = {},
                         ProcessTable& table = ProcessTable::real());

// The plan's lines: header, one line per free target (label, size, path) or "Nothing to clean.",
// then the blocked targets under "guard-blocked:" with their reasons.
std::string renderCleanPlan(const std::vector<CleanTarget>& targets, const PlanOptions& options);

// `--mode clean`: measures the hits and prints the plan; with --apply --yes moves it, with --undo
// takes a record back.
int runClean(const Settings& settings);

}  // namespace kelvor
