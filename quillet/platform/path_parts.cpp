#include "quillet/platform/path_parts.hpp"

namespace kelvor {

std::string parentOf(const std::string& path) {
    size_t slash = path.rfind('/');
    return slash == 0 || slash == std::string::npos ? "/" : path.substr(0, slash);
}

std::string nameOf(const std::string& path) { return path.substr(path.rfind('/') + 1); }

std::string_view nameIn(std::string_view path) { return path.substr(path.rfind('/') + 1); }

}  // namespace kelvor
