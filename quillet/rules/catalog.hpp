#pragma once
// The static catalog: 388 hand-written rules, each from a store inspected on a real machine.
#include <vector>

#include "quillet/rules/lazy_table.hpp"
#include "quillet/rules/owners.hpp"
#include "quillet/rules/rule.hpp"

namespace kelvor {

// The rules in catalog order (the stable order of reports and ties); built once, never changed.
const std::vector<Rule>& catalogRules();
// The owner of every catalog rule.
const OwnerSet& catalogOwners();

inline constexpr LazyTable<std::vector<Rule>, catalogRules> CATALOG{};
inline constexpr LazyTable<OwnerSet, catalogOwners> CATALOG_OWNERS{};

}  // namespace kelvor
