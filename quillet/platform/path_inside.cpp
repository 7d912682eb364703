#include "quillet/platform/path_inside.hpp"

namespace kelvor {

bool pathInside(const std::string& path, const std::string& folder) {
    if (folder == "/") return path.starts_with("/");
    if (!path.starts_with(folder)) return false;
    return path.size() == folder.size() || path[folder.size()] == '/';
}

}  // namespace kelvor
