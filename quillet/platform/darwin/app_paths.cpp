#include "quillet/platform/app_paths.hpp"

#include <mach-o/dyld.h>
#include <limits.h>
#include <stdlib.h>

#include <vector>

#include "quillet/platform/home.hpp"

namespace kelvor {

std::string applicationConfigDir() { return homeDir() + "/Library/Application Support"; }

std::string runningExecutablePath() {
    uint32_t size = 0;
    _NSGetExecutablePath(nullptr, &size);  // learns the size
    std::vector<char> raw(size + 1, '\0');
    if (_NSGetExecutablePath(raw.data(), &size) != 0) return "";
    char resolved[PATH_MAX];
    if (::realpath(raw.data(), resolved) == nullptr) return "";
    return resolved;
}

}  // namespace kelvor
