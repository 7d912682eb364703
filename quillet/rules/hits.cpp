#include "quillet/rules/hits.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include "quillet/log/log.hpp"
#include "quillet/platform/home.hpp"
#include "quillet/scan/fmt_bytes.hpp"
#include "quillet/space/exclusions.hpp"

namespace kelvor {

namespace {

bool isAtOrBelow(const std::string& path, const std::string& folder) {
    return path == folder || (path.size() > folder.size() && path.starts_with(folder) && path[folder.size()] == '/');
}

std::string realOrSame(const std::string& path) { return followStoreLink(path).path; }

}  // namespace

bool ruleEvidenceHolds(const Rule& rule, const std::string& path) {
    struct stat info {};
    if (path.empty() || ::lstat(path.c_str(), &info) != 0) return false;
    bool kindHolds = rule.kind == StoreKind::file ? S_ISREG(info.st_mode) : S_ISDIR(info.st_mode);
    if (!kindHolds || info.st_uid != ::geteuid()) return false;
    std::string home = realOrSame(homeDir());
    return !isAtOrBelow(home, path);
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
    for (Hit& outer : hits) {
        std::uint64_t inside = 0;
        for (const Hit& inner : hits)
            if (&inner != &outer && inner.path.size() > outer.path.size() && isAtOrBelow(inner.path, outer.path))
                inside += inner.stat.bytes;
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
    return isAtOrBelow(path, data) || isAtOrBelow(realOrSame(path), realOrSame(data));
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
                hits.push_back(Hit{std::move(rule), stat, each.relocated, each.path, each.linkedFrom});
                progress.bytesSoFar += stat.bytes;
                if (callbacks.onHit) callbacks.onHit(hits.back());
            }
        }
        if (callbacks.onMeasured) callbacks.onMeasured(progress);
    }
    hits = dedupeNested(std::move(hits));
    std::vector<Hit> kept;
    kept.reserve(hits.size());
    Exclusions& exclusions = Exclusions::shared();
    for (Hit& hit : hits)
        if (!exclusions.covers(hit.path) && !isOwnState(hit.path)) kept.push_back(std::move(hit));
    return kept;
}

std::vector<Hit> collectHits(int threads, const HitCallbacks& callbacks) {
    auto measure = [](const std::string& path, int workers) {
        return measureTree(path, workers, std::chrono::duration_cast<std::chrono::milliseconds>(STORE_MEASURE_LIMIT));
    };
    return collectHitsFrom(resolvedRules(), threads, callbacks, measure);
}

}  // namespace kelvor
