#pragma once
// The folder and the last name of a path, taken apart as text: no link is resolved and nothing
// is looked at on disk.
#include <string>
#include <string_view>

namespace kelvor {

// "/a/b" for "/a/b/c", "/" for "/c", "/" for a path without a slash.
std::string parentOf(const std::string& path);

// "c" for "/a/b/c"; the whole path when it has no slash.
std::string nameOf(const std::string& path);

// The same last name as a view into `path`, for text that outlives the call.
std::string_view nameIn(std::string_view path);

}  // namespace kelvor
