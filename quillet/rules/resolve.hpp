#pragma once
// From rules to concrete paths: every rule resolved by the location rule, each path kept once.
#include <optional>
#include <string>
#include <vector>

#include "quillet/rules/rule.hpp"

namespace kelvor {

struct ResolvedRule {
    Rule rule;
    std::string path;                       // the store where it really is
    std::optional<std::string> relocated;   // the variable that moved it, if any
    std::optional<std::string> linkedFrom;  // the path the rule named, when a link led elsewhere
};

// Every rule: the catalog's rows, this platform's store rows, then the build folders under the home
// folder that no earlier row claims (the other rule generators add theirs here as they land).
std::vector<Rule> allRules();

// Where a store really is: `path` with every symbolic link in it resolved, and the original
// path when a link was really followed on the way (a trailing "/" or a home folder that is itself
// reached through a link is no link). A path that does not exist is returned as it is.
struct StoreLocation {
    std::string path;
    std::optional<std::string> linkedFrom;
};
StoreLocation followStoreLink(const std::string& path);

// One rule's store: its path by the location rule, followed through links, relocated only when it
// differs from the default place; none when the path may never be a hit (storeRefusal, logged).
std::optional<ResolvedRule> resolveRule(const Rule& rule, const std::string& realHome, unsigned uid);

// Each rule's store (resolveRule) for the person running Kelvor, kept once (claimedOnce).
std::vector<ResolvedRule> resolvedRules(const std::vector<Rule>& rules);
std::vector<ResolvedRule> resolvedRules();

// The list with every path kept once, for the first rule that claims it (catalog order), and
// one "scan" log line saying how many rows were dropped, when any were.
std::vector<ResolvedRule> claimedOnce(std::vector<ResolvedRule> resolved);

}  // namespace kelvor
