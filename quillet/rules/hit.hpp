#pragma once
// One resolved, measured occurrence of a rule on this machine.
#include <optional>
#include <string>
#include <vector>

#include "quillet/rules/rule.hpp"
#include "quillet/scan/measure.hpp"

namespace kelvor {

struct Hit {
    Rule rule;
    TreeStat stat;
    std::optional<std::string> relocated;  // the variable that moved the store, when one did
    std::string path;                      // absolute, with symbolic links resolved
    std::optional<std::string> linkedFrom; // where the rule expected it, when a link led elsewhere
    std::vector<std::string> excludedInside;  // excluded paths inside it: it must not move whole
};

}  // namespace kelvor
