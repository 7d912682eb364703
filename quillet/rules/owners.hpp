#pragma once
// The owner tables: which owner names are apps, tools or the person's own files.
#include <map>
#include <set>
#include <string>
#include <string_view>

#include "quillet/rules/lazy_table.hpp"

namespace kelvor {

using OwnerSet = std::set<std::string, std::less<>>;
using OwnerMap = std::map<std::string, std::string, std::less<>>;

// What an owner name stands for.
enum class OwnerKind { myFiles, app, tool };

// Owner name -> bundle identifier of the owning app.
const OwnerMap& ownerAppIds();
// Owners that are ordinary apps rather than developer tools.
const OwnerSet& appOwners();
// Tool owners that exist only through rules generated at scan time.
const OwnerSet& dynamicToolOwners();
// Owners of the person's own files found by evidence.
const OwnerSet& myFileOwners();

inline constexpr LazyTable<OwnerMap, ownerAppIds> OWNER_APP_IDS{};
inline constexpr LazyTable<OwnerSet, appOwners> APP_OWNERS{};
inline constexpr LazyTable<OwnerSet, dynamicToolOwners> DYNAMIC_TOOL_OWNERS{};
inline constexpr LazyTable<OwnerSet, myFileOwners> MY_FILE_OWNERS{};

// MY_FILE_OWNERS first (so "Build artifacts" and "iOS" are the person's files), then APP_OWNERS,
// then CATALOG_OWNERS or DYNAMIC_TOOL_OWNERS as tools; any other name is the person's files.
OwnerKind ownerKind(std::string_view owner);

}  // namespace kelvor
