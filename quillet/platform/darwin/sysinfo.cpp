#include "quillet/platform/sysinfo.hpp"

#include <sys/sysctl.h>

namespace kelvor {

std::string systemName() { return "macOS"; }

std::string systemVersion() {
    char version[64] = {};
    size_t size = sizeof version;
    if (sysctlbyname("kern.osproductversion", version, &size, nullptr, 0) != 0) return "";
    return version;
}

int processorCount() {
    int count = 0;
    size_t size = sizeof count;
    if (sysctlbyname("hw.activecpu", &count, &size, nullptr, 0) != 0 || count < 1) return 1;
    return count;
}

}  // namespace kelvor
