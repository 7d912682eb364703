#include "quillet/rules/platform_stores.hpp"

namespace kelvor {

// The catalog's own rows already name the macOS places.
std::vector<Rule> platformStoreRules() { return {}; }

}  // namespace kelvor
