#pragma once
// The one answer to "is this path inside that folder" for the whole program.
#include <string_view>

namespace kelvor {

// True when `path` is `folder` itself or lies below it, compared component by component on
// canonical absolute paths ("/a/bc" is not inside "/a/b"; a trailing "/" is ignored). A path is
// inside itself. "/" holds every absolute path. Purely textual: resolve links first when they matter.
bool pathInside(std::string_view path, std::string_view folder);

}  // namespace kelvor
