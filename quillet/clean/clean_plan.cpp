#include "quillet/clean/clean_plan.hpp"

#include <algorithm>
#include <cstdio>

#include "quillet/clean/left_alone.hpp"
#include "quillet/i18n/text.hpp"
#include "quillet/i18n/width.hpp"
#include "quillet/platform/printable.hpp"
#include "quillet/platform/path_inside.hpp"
#include "quillet/rules/hits.hpp"
#include "quillet/rules/tier.hpp"
#include "quillet/scan/fmt_bytes.hpp"
#include "quillet/space/exclusions.hpp"

namespace kelvor {

namespace {

std::string lowerCased(std::string text) {
    for (char& c : text)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return text;
}

std::string targetLabel(const CleanTarget& target) {
    return std::string(tierMarker(target.rule.tier)) + " " + target.rule.owner + " · " + componentLabel(target.rule);
}

}  // namespace

bool CleanTarget::hardBlocked() const {
    if (!excludedInside.empty()) return true;
    return std::any_of(violations.begin(), violations.end(), [](const GuardViolation& v) { return v.hard; });
}

bool quarantineRecommended(const Rule& rule) {
    return !rule.verified || rule.tier == Tier::review || rule.tier == Tier::protected_;
}

void guardTargets(std::vector<CleanTarget>& targets, ProcessTable& table, FileOps& files) {
    for (CleanTarget& target : targets) {
        Result<PathIdentity> identity = files.identity(target.path);
        if (identity) target.identity = *identity;
    }
    std::optional<std::vector<Proc>> procs = runningProcessesChecked(table);
    if (!procs) {
        for (CleanTarget& target : targets) target.violations.push_back({.reason = cannotSeeProcessesNote(), .hard = true});
        return;
    }
    // Gathered once for the whole run: reading every process's descriptors is the slow part.
    OpenFileIndex openFiles(openHomeFiles(*procs, table));
    for (CleanTarget& target : targets) {
        target.violations = checkGuards(target.rule.owner, target.path, *procs, &openFiles,
                                        target.rule.liveSafe ? LiveSafe::yes : LiveSafe::no, RecentWriteCheck::run);
        for (const Proc& proc : *procs)
            if (!proc.path.empty() && pathInside(proc.path, target.path)) target.holdsRunningBinary = true;
    }
}

CleanPlan buildCleanPlan(int threads, const PlanOptions& options, const HitCallbacks& callbacks, ProcessTable& table) {
    CleanPlan plan;
    plan.hits = collectHits(threads, callbacks);
    plan.targets = planFromHits(plan.hits, options);
    guardTargets(plan.targets, table);
    return plan;
}

std::vector<std::string> swallowedByMove(const std::string& chosen, const std::vector<std::string>& catalogPaths,
                                         const std::vector<std::string>& runPaths) {
    std::vector<std::string> swallowed;
    for (const std::string& path : catalogPaths)
        if (path != chosen && pathInside(path, chosen) &&
            std::find(runPaths.begin(), runPaths.end(), path) == runPaths.end())
            swallowed.push_back(path);
    return swallowed;
}

std::vector<CleanTarget> planFromHits(const std::vector<Hit>& hits, const PlanOptions& options) {
    std::vector<CleanTarget> targets;
    std::optional<std::string> owner = options.ownerFilter ? std::optional(lowerCased(*options.ownerFilter)) : std::nullopt;
    for (const Hit& hit : hits) {
        if (!options.tiers.contains(hit.rule.tier)) continue;
        if (!hit.rule.verified && !options.includeUnverified) continue;
        if (owner && lowerCased(hit.rule.owner) != *owner) continue;
        CleanTarget target;
        target.rule = hit.rule;
        target.path = hit.path;
        target.stat = hit.stat;
        target.linkedFrom = hit.linkedFrom;
        target.excludedInside = hit.excludedInside;
        targets.push_back(std::move(target));
    }
    std::vector<std::string> catalogPaths, runPaths;
    for (const Hit& hit : hits) catalogPaths.push_back(hit.path);
    for (const CleanTarget& target : targets) runPaths.push_back(target.path);
    for (CleanTarget& target : targets) target.swallowed = swallowedByMove(target.path, catalogPaths, runPaths);
    return targets;
}

std::string renderCleanPlan(const std::vector<CleanTarget>& targets, const PlanOptions& options) {
    std::string out = trf(S::cleanPlanHeader) +
                      trf(options.includeUnverified ? S::cleanPlanIncludingUnverified : S::cleanPlanVerifiedOnly) + "\n";
    auto line = [](const CleanTarget& target) {
        std::string text = "  " + padRight(targetLabel(target), 44) + " " + padRight(fmtBytes(target.stat.bytes), 11) +
                           " " + escapeControls(target.path) + "\n";
        if (target.linkedFrom) text += "     ↳ " + trf(S::cleanLinkedFrom, {escapeControls(*target.linkedFrom)}) + "\n";
        if (target.stat.timedOut) text += "     ↳ " + trf(S::cleanTimedOut) + "\n";
        if (!target.swallowed.empty()) {
            std::string names;
            for (const std::string& path : target.swallowed) names += (names.empty() ? "" : ", ") + escapeControls(path);
            text += "     ↳ " + trf(S::swallowedByMove, {std::to_string(target.swallowed.size()), names}) + "\n";
        }
        return text;
    };
    bool anyFree = false, anyBlocked = false;
    for (const CleanTarget& target : targets) {
        if (target.blocked()) {
            anyBlocked = true;
            continue;
        }
        anyFree = true;
        out += line(target);
    }
    if (!anyFree) out += trf(S::cleanNothing) + "\n";
    if (!anyBlocked) return out;
    out += trf(S::cleanGuardBlocked) + "\n";
    for (const CleanTarget& target : targets) {
        if (!target.blocked()) continue;
        out += line(target);
        for (const std::string& excluded : target.excludedInside)
            out += "     ⛔ " + trf(S::cleanExcludedInside, {escapeControls(excluded)}) + "\n";
        for (const GuardViolation& violation : target.violations)
            out += "     ⛔ " + violation.reason + (violation.hard ? " " + trf(S::cleanHardViolation) : "") + "\n";
    }
    return out;
}

}  // namespace kelvor
