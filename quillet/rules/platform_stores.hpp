#pragma once
// The store rows this platform adds beside the catalog. The platform folder picked at build time
// supplies the answer: the Linux table on Linux, nothing on macOS, whose places the catalog names.
#include <vector>

#include "quillet/rules/rule.hpp"

namespace kelvor {

std::vector<Rule> platformStoreRules();

}  // namespace kelvor
