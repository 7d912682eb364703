#include "quillet/platform/app_paths.hpp"

#include <limits.h>
#include <stdlib.h>

#include "quillet/platform/home.hpp"

namespace kelvor {

std::string applicationConfigDir() {
    // The XDG base directory rules ignore a relative value.
    std::string configured = environment("XDG_CONFIG_HOME");
    if (!configured.empty() && configured.front() == '/') return configured;
    return homeDir() + "/.config";
}

std::string runningExecutablePath() {
    char resolved[PATH_MAX];
    if (::realpath("/proc/self/exe", resolved) == nullptr) return "";
    return resolved;
}

}  // namespace kelvor
