#include "quillet/platform/path_inside.hpp"

namespace kelvor {

namespace {

std::string_view withoutTrailingSlashes(std::string_view path) {
    while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
    return path;
}

}  // namespace

bool pathInside(std::string_view path, std::string_view folder) {
    path = withoutTrailingSlashes(path);
    folder = withoutTrailingSlashes(folder);
    if (folder.empty()) return false;
    if (path == folder) return true;
    if (folder == "/") return path.starts_with('/');
    return path.size() > folder.size() && path.starts_with(folder) && path[folder.size()] == '/';
}

}  // namespace kelvor
