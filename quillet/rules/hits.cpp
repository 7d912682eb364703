#include "quillet/rules/hits.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "quillet/log/log.hpp"
#include "quillet/platform/home.hpp"
#include "quillet/platform/path_inside.hpp"
#include "quillet/scan/fmt_bytes.hpp"
#include "quillet/space/exclusions.hpp"

namespace kelvor {

namespace {

bool strictlyInside(const std::string& path, const std::string& folder) {
    return path != folder && pathInside(path, folder);
}

std::string realOrSame(const std::string& path) { return followStoreLink(path).path; }

}  // namespace

bool ruleEvidenceHolds(const Rule& rule, const std::string& path) {
    struct stat info {};
    if (path.empty() || ::lstat(path.c_str(), &info) != 0) return false;
    bool kindHolds = rule.kind == StoreKind::file ? S_ISREG(info.st_mode) : S_ISDIR(info.st_mode);
    if (!kindHolds || info.st_uid != ::geteuid()) return false;
    std::string home = realOrSame(homeDir());
    return !pathInside(home, path);
}

Rule demotedIfRelocated(const Rule& rule, const std::optional<std::string>& relocated) {
    if (!relocated || !rule.verified) return rule;
    Rule demoted = rule;
    demoted.verified = false;
    demoted.component += RELOCATED_SUFFIX_KOREAN;
    return demoted;
}

Rule demotedIfUnprovable(const Rule& rule, const std::string&) { return rule; }

std::vector<Hit> dedupeNested(std::vector<Hit> hits) {
    // Measured sizes, taken before any subtraction: each hit gives up exactly the bytes of the hits
    // directly inside it, which already hold everything deeper, so every byte counts once.
    std::vector<std::uint64_t> measured;
    measured.reserve(hits.size());
    for (const Hit& hit : hits) measured.push_back(hit.stat.bytes);
    auto directlyInside = [&](size_t inner, size_t outer) {
        if (!strictlyInside(hits[inner].path, hits[outer].path)) return false;
        for (size_t between = 0; between < hits.size(); ++between)
            if (strictlyInside(hits[inner].path, hits[between].path) && strictlyInside(hits[between].path, hits[outer].path))
                return false;
        return true;
    };
    for (size_t outerIndex = 0; outerIndex < hits.size(); ++outerIndex) {
        Hit& outer = hits[outerIndex];
        std::uint64_t inside = 0;
        for (size_t innerIndex = 0; innerIndex < hits.size(); ++innerIndex)
            if (innerIndex != outerIndex && directlyInside(innerIndex, outerIndex)) inside += measured[innerIndex];
        if (inside == 0) continue;
        outer.stat.bytes = outer.stat.bytes > inside ? outer.stat.bytes - inside : 0;
        outer.stat.shared = std::min(outer.stat.shared, outer.stat.bytes);
        KelvorLog::write("scan", "nested: " + outer.rule.owner + " — " + outer.rule.component + " drops " +
                                     fmtBytes(inside) + " already claimed by a deeper rule");
    }
    return hits;
}

bool isOwnState(const std::string& path) {
    std::string data = dataDir();
    return pathInside(path, data) || pathInside(realOrSame(path), realOrSame(data));
}

std::vector<Hit> collectHitsFrom(const std::vector<ResolvedRule>& resolved, int threads,
                                 const HitCallbacks& callbacks, const TreeMeasure& measure) {
    std::vector<Hit> hits;
    MeasureProgress progress{0, resolved.size(), 0};
    for (const ResolvedRule& each : resolved) {
        ++progress.storesDone;
        if (ruleEvidenceHolds(each.rule, each.path)) {
            TreeStat stat = measure(each.path, threads);
            if (stat.bytes > 0 || stat.timedOut) {
                Rule rule = demotedIfUnprovable(demotedIfRelocated(each.rule, each.relocated), each.path);
                hits.push_back(Hit{std::move(rule), stat, each.relocated, each.path, each.linkedFrom, {}});
                progress.bytesSoFar += stat.bytes;
                if (callbacks.onHit) callbacks.onHit(hits.back());
            }
        }
        if (callbacks.onMeasured) callbacks.onMeasured(progress);
    }
    Exclusions& exclusions = Exclusions::shared();
    std::erase_if(hits, [&](const Hit& hit) { return exclusions.covers(hit.path) || isOwnState(hit.path); });
    hits = dedupeNested(std::move(hits));
    for (Hit& hit : hits) {
        // A move would take an excluded folder with it: the hit stays, blocked, without its bytes.
        hit.excludedInside = exclusions.inside(hit.path);
        std::uint64_t excludedBytes = 0;
        for (const std::string& excluded : hit.excludedInside) {
            // Inside a nested hit, those bytes already left this one with the nested hit's size.
            bool inNested = std::any_of(hits.begin(), hits.end(), [&](const Hit& other) {
                return strictlyInside(other.path, hit.path) && pathInside(excluded, other.path);
            });
            if (!inNested) excludedBytes += measure(excluded, threads).bytes;
        }
        hit.stat.bytes = hit.stat.bytes > excludedBytes ? hit.stat.bytes - excludedBytes : 0;
        hit.stat.shared = std::min(hit.stat.shared, hit.stat.bytes);
    }
    return hits;
}

std::vector<Hit> collectHits(int threads, const HitCallbacks& callbacks) {
    auto measure = [](const std::string& path, int workers) {
        return measureTree(path, workers, std::chrono::duration_cast<std::chrono::milliseconds>(STORE_MEASURE_LIMIT));
    };
    return collectHitsFrom(resolvedRules(), threads, callbacks, measure);
}

}  // namespace kelvor
