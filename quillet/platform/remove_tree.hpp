#pragma once
// Deleting for good, for the one entry that is allowed to: never through a symbolic link, never
// across a file-system boundary, at any depth with a fixed number of open descriptors.
#include <optional>
#include <string>
#include <vector>

#include "quillet/platform/result.hpp"

namespace kelvor {

// The path with its parent folder's symbolic links resolved and the last name kept as written
// (a link is judged as the link itself); an error when the parent cannot be resolved or the
// last name is "", "." or "..".
Result<std::string> realPathOfEntry(const std::string& path);

struct TreeRemoval {
    bool gone = false;                    // the entry itself no longer exists
    std::vector<std::string> leftAlone;   // entries on another file system, kept with what holds them
    std::optional<Error> firstFailure;    // the first entry that could not be removed
};

// Deletes the entry `name` inside the folder `realParent` (a path without symbolic links) and,
// for a folder, everything below it. Every folder is opened without following links, so a link
// met anywhere is removed as a link and its target is never touched. Anything on another file
// system than `realParent` (a mount point, a bind mount) is left alone with its contents. An
// error only when the walk could not start or the tree was moved while it was being removed.
Result<TreeRemoval> removeTreeForGood(const std::string& realParent, const std::string& name);

// removeTreeForGood for a caller that needs the entry gone: an Error (the first failure, or kind
// busy when only entries on other file systems held it) unless the entry no longer exists.
Result<void> removeEntryForGood(const std::string& realParent, const std::string& name);

}  // namespace kelvor
