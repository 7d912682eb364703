#include "quillet/clean/clean_plan.hpp"

#include <unistd.h>

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

// One line on standard error, rewritten in place, only when a person is watching.
class ProgressLine {
public:
    ProgressLine() : shown_(::isatty(2) == 1) {}
    void update(const MeasureProgress& progress) {
        if (!shown_) return;
        std::string line = trf(S::cleanMeasuring, {std::to_string(progress.storesDone),
                                                   std::to_string(progress.storesTotal), fmtBytes(progress.bytesSoFar)});
        std::fprintf(stderr, "\r\033[K%s", line.c_str());
        std::fflush(stderr);
    }
    void clear() {
        if (!shown_) return;
        std::fprintf(stderr, "\r\033[K");
        std::fflush(stderr);
    }

private:
    bool shown_;
};

}  // namespace

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
        targets.push_back({hit.rule, hit.path, hit.stat, hit.linkedFrom, hit.excludedInside, {}});
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
    }
    return out;
}

int runClean(const Settings& settings) {
    if (settings.undoTarget) {
        std::printf("%s\n", trf(S::cleanUndoUnavailable).c_str());
        return 2;
    }
    if (settings.cleanApply && !settings.cleanYes) std::printf("%s\n", trf(S::cleanApplyWithoutYes).c_str());
    if (settings.cleanApply && settings.cleanYes) {
        std::printf("%s\n", trf(S::cleanApplyUnavailable).c_str());
        return 2;
    }
    // The list hides every store while it cannot be read: say so, or "Nothing to clean." misleads,
    // and end non-zero so a script does not take the empty plan for a clean home.
    Exclusions& exclusions = Exclusions::shared();
    const bool listUnreadable = exclusions.unreadable();
    if (listUnreadable)
        std::fprintf(stderr, "%s\n", trf(S::excludeUnreadable, {escapeControls(exclusions.file())}).c_str());
    PlanOptions options{settings.cleanTiers, settings.cleanUnverified, settings.cleanOwner};
    ProgressLine progress;
    HitCallbacks callbacks;
    callbacks.onMeasured = [&](const MeasureProgress& step) { progress.update(step); };
    std::vector<Hit> hits = collectHits(settings.threads, callbacks);
    progress.clear();
    std::vector<CleanTarget> targets = planFromHits(hits, options);
    std::fputs(renderCleanPlan(targets, options).c_str(), stdout);
    std::fputs(renderLeftAlone(hits).c_str(), stdout);
    if (!targets.empty()) std::printf("%s\n", trf(S::cleanDryRun).c_str());
    return listUnreadable ? 1 : 0;
}

}  // namespace kelvor
