#pragma once
// Containment judged on whole path components, so "/home/ada2" is not inside "/home/ada".
#include <string>

namespace kelvor {

// True when `path` is `folder` itself or lies below it. Both are absolute and canonical (no
// links, no "." or ".." components, no doubled or trailing "/"); "/" contains every path.
bool pathInside(const std::string& path, const std::string& folder);

}  // namespace kelvor
