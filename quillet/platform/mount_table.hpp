#pragma once
// The system's own list of mounted file systems: what a privileged run trusts for "the top of a
// file system", since it cannot be bent by the caller's environment.
#include <set>
#include <string>

namespace kelvor {

// The mount points of the current mount namespace, as absolute paths; empty when unreadable.
std::set<std::string> mountPoints();

}  // namespace kelvor
