#include "quillet/platform/disk_reads.hpp"

#include <libproc.h>
#include <sys/resource.h>
#include <unistd.h>

namespace kelvor {

std::optional<std::uint64_t> bytesReadFromDisk() {
    rusage_info_v2 usage{};
    if (proc_pid_rusage(getpid(), RUSAGE_INFO_V2, reinterpret_cast<rusage_info_t*>(&usage)) != 0) return std::nullopt;
    return usage.ri_diskio_bytesread;
}

}  // namespace kelvor
