#pragma once
// Deleting for good, for the one entry that is allowed to: never through a symbolic link.
#include <string>

#include "quillet/platform/result.hpp"

namespace kelvor {

// The path with its parent folder's symbolic links resolved and the last name kept as written
// (a link is judged as the link itself); an error when the parent cannot be resolved or the
// last name is "", "." or "..".
Result<std::string> realPathOfEntry(const std::string& path);

// Deletes the entry `name` inside the folder `realParent` (a path without symbolic links) and,
// for a folder, everything below it. Every folder on the way is opened without following links,
// so a link met anywhere is removed as a link and its target is never touched.
Result<void> removeTreeForGood(const std::string& realParent, const std::string& name);

}  // namespace kelvor
