#include "quillet/platform/sysinfo.hpp"

#include <sys/utsname.h>
#include <unistd.h>

namespace kelvor {

std::string systemName() { return "Linux"; }

std::string systemVersion() {
    utsname names{};
    if (uname(&names) != 0) return "";
    return names.release;
}

int processorCount() {
    long count = sysconf(_SC_NPROCESSORS_ONLN);
    return count > 0 ? static_cast<int>(count) : 1;
}

}  // namespace kelvor
