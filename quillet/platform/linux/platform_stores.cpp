#include "quillet/rules/platform_stores.hpp"

#include "quillet/rules/linux_catalog.hpp"

namespace kelvor {

std::vector<Rule> platformStoreRules() { return linuxStoreRules(); }

}  // namespace kelvor
