#pragma once
// Renaming that never replaces what is already at the destination.
#include <string>

#include "quillet/platform/result.hpp"

namespace kelvor {

// Renames `from` to `to` on one file system; fails with EEXIST when `to` exists, EXDEV across
// file systems (nothing is ever copied).
Result<void> renameNoReplace(const std::string& from, const std::string& to);

}  // namespace kelvor
