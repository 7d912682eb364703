#include "quillet/rules/resolve.hpp"

#include <climits>
#include <cstdlib>
#include <unordered_set>

#include "quillet/log/log.hpp"
#include "quillet/rules/build_artifacts.hpp"
#include "quillet/rules/catalog.hpp"
#include "quillet/rules/location.hpp"
#include "quillet/rules/platform_stores.hpp"

namespace kelvor {

std::vector<Rule> allRules() {
    std::vector<Rule> rules = catalogRules();
    std::vector<Rule> platform = platformStoreRules();
    rules.insert(rules.end(), std::make_move_iterator(platform.begin()), std::make_move_iterator(platform.end()));
    std::vector<std::string> claimed;
    claimed.reserve(rules.size());
    for (const Rule& rule : rules) claimed.push_back(ruleRawPath(rule).path);
    std::vector<Rule> artifacts = dynamicBuildArtifactRules(claimed);
    rules.insert(rules.end(), std::make_move_iterator(artifacts.begin()), std::make_move_iterator(artifacts.end()));
    return rules;
}

StoreLocation followStoreLink(const std::string& path) {
    char resolved[PATH_MAX];
    if (!::realpath(path.c_str(), resolved)) return {path, std::nullopt};
    std::string real = resolved;
    if (real == path) return {path, std::nullopt};
    return {real, path};
}

std::vector<ResolvedRule> claimedOnce(std::vector<ResolvedRule> resolved) {
    std::unordered_set<std::string> seen;
    std::vector<ResolvedRule> kept;
    kept.reserve(resolved.size());
    for (ResolvedRule& each : resolved)
        if (seen.insert(each.path).second) kept.push_back(std::move(each));
    size_t dropped = resolved.size() - kept.size();
    if (dropped > 0)
        KelvorLog::write("scan", "claimed once: " + std::to_string(dropped) +
                                     " of your files sit inside a store or folder another row already counts");
    return kept;
}

std::vector<ResolvedRule> resolvedRules(const std::vector<Rule>& rules) {
    std::vector<ResolvedRule> resolved;
    resolved.reserve(rules.size());
    for (const Rule& rule : rules) {
        RawPath raw = ruleRawPath(rule);
        if (raw.path.empty()) continue;
        StoreLocation location = followStoreLink(raw.path);
        resolved.push_back({rule, location.path, raw.relocated, location.linkedFrom});
    }
    return claimedOnce(std::move(resolved));
}

std::vector<ResolvedRule> resolvedRules() { return resolvedRules(allRules()); }

}  // namespace kelvor
