#include "quillet/rules/resolve.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <filesystem>
#include <unordered_set>

#include "quillet/log/log.hpp"
#include "quillet/platform/home.hpp"
#include "quillet/rules/build_artifacts.hpp"
#include "quillet/rules/catalog.hpp"
#include "quillet/rules/location.hpp"
#include "quillet/rules/platform_stores.hpp"
#include "quillet/rules/store_guard.hpp"

namespace kelvor {

namespace {

// `path` with its links resolved, or `path` itself when it does not exist.
std::string realOrSelf(const std::string& path) {
    char resolved[PATH_MAX];
    return ::realpath(path.c_str(), resolved) ? std::string(resolved) : path;
}

// `path` with its links resolved as far as it exists and the rest appended: how two spellings of
// a place that may not exist yet are compared.
std::string weaklyReal(const std::string& path) {
    std::error_code failed;
    std::filesystem::path resolved = std::filesystem::weakly_canonical(path, failed);
    if (failed) return path;
    std::string text = resolved.string();
    while (text.size() > 1 && text.back() == '/') text.pop_back();
    return text;
}

// True when a symbolic link on the way to `path` was followed after the walk reached the home
// folder (or outside the home, anywhere): a home that is itself reached through a link, as on
// image-based systems where /home leads to /var/home, is no link to the person.
bool linkFollowed(const std::string& path, const std::string& realHome) {
    if (!path.starts_with('/')) return false;
    bool followed = false;
    std::string prefix;
    size_t at = 1;
    while (at <= path.size()) {
        size_t next = path.find('/', at);
        if (next == std::string::npos) next = path.size();
        std::string_view part(path.data() + at, next - at);
        at = next + 1;
        if (part.empty() || part == ".") continue;
        prefix += "/";
        prefix += part;
        struct stat info {};
        if (::lstat(prefix.c_str(), &info) != 0) break;
        if (S_ISLNK(info.st_mode)) followed = true;
        if (followed && realOrSelf(prefix) == realHome) followed = false;
    }
    return followed;
}

}  // namespace

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
    std::string real = realOrSelf(path);
    if (real == path || !linkFollowed(path, realOrSelf(homeDir()))) return {real, std::nullopt};
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

std::optional<ResolvedRule> resolveRule(const Rule& rule, const std::string& realHome, unsigned uid) {
    RawPath raw = ruleRawPath(rule);
    if (raw.path.empty()) return std::nullopt;
    StoreLocation location = followStoreLink(raw.path);
    std::optional<std::string> relocated = raw.relocated;
    // A variable that names the default place moved nothing.
    if (relocated && weaklyReal(location.path) == weaklyReal(defaultRawPath(rule).path)) relocated.reset();
    StoreOrigin origin{relocated.has_value(), location.linkedFrom.has_value()};
    if (std::optional<StoreRefusal> refusal = storeRefusal(location.path, realHome, origin, uid)) {
        KelvorLog::write("rules", "not a store: " + rule.owner + " — " + rule.component + " at " + location.path +
                                      " is " + std::string(storeRefusalReason(*refusal)));
        return std::nullopt;
    }
    return ResolvedRule{rule, location.path, relocated, location.linkedFrom};
}

std::vector<ResolvedRule> resolvedRules(const std::vector<Rule>& rules) {
    std::string realHome = realOrSelf(homeDir());
    unsigned uid = ::geteuid();
    std::vector<ResolvedRule> resolved;
    resolved.reserve(rules.size());
    for (const Rule& rule : rules)
        if (std::optional<ResolvedRule> each = resolveRule(rule, realHome, uid)) resolved.push_back(std::move(*each));
    return claimedOnce(std::move(resolved));
}

std::vector<ResolvedRule> resolvedRules() { return resolvedRules(allRules()); }

}  // namespace kelvor
