#include "quillet/clean/clean_plan.hpp"

#include <unistd.h>

#include <cstdio>

#include "quillet/clean/left_alone.hpp"
#include "quillet/i18n/text.hpp"
#include "quillet/i18n/width.hpp"
#include "quillet/rules/hits.hpp"
#include "quillet/rules/tier.hpp"
#include "quillet/scan/fmt_bytes.hpp"

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

std::vector<CleanTarget> planFromHits(const std::vector<Hit>& hits, const PlanOptions& options) {
    std::vector<CleanTarget> targets;
    std::optional<std::string> owner = options.ownerFilter ? std::optional(lowerCased(*options.ownerFilter)) : std::nullopt;
    for (const Hit& hit : hits) {
        if (!options.tiers.contains(hit.rule.tier)) continue;
        if (!hit.rule.verified && !options.includeUnverified) continue;
        if (owner && lowerCased(hit.rule.owner) != *owner) continue;
        targets.push_back({hit.rule, hit.path, hit.stat, hit.linkedFrom});
    }
    return targets;
}

std::string renderCleanPlan(const std::vector<CleanTarget>& targets, const PlanOptions& options) {
    std::string out = trf(S::cleanPlanHeader) +
                      trf(options.includeUnverified ? S::cleanPlanIncludingUnverified : S::cleanPlanVerifiedOnly) + "\n";
    if (targets.empty()) return out + trf(S::cleanNothing) + "\n";
    for (const CleanTarget& target : targets) {
        out += "  " + padRight(targetLabel(target), 44) + " " + padRight(fmtBytes(target.stat.bytes), 11) + " " +
               target.path + "\n";
        if (target.linkedFrom) out += "     ↳ " + trf(S::cleanLinkedFrom, {*target.linkedFrom}) + "\n";
        if (target.stat.timedOut) out += "     ↳ " + trf(S::cleanTimedOut) + "\n";
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
    return 0;
}

}  // namespace kelvor
