#include "quillet/platform/memory_probe.hpp"

#include <libproc.h>
#include <mach/mach.h>
#include <mach/vm_page_size.h>
#include <sys/proc_info.h>
#include <sys/sysctl.h>

#include <cerrno>
#include <set>

namespace kelvor {

namespace {

// kern.memorystatus_vm_pressure_level: the kernel's own verdict, the one Activity Monitor colours
// its graph by (1 normal, 2 warning, 4 critical).
PressureVerdict kernelVerdict() {
    int level = 0;
    size_t size = sizeof level;
    if (::sysctlbyname("kern.memorystatus_vm_pressure_level", &level, &size, nullptr, 0) != 0) return PressureVerdict::unknown;
    switch (level) {
        case 1: return PressureVerdict::normal;
        case 2: return PressureVerdict::warning;
        case 4: return PressureVerdict::critical;
        default: return PressureVerdict::unknown;
    }
}

class MachMemoryProbe final : public MemoryProbe {
public:
    MemorySnapshot snapshot() override {
        MemorySnapshot snapshot;
        snapshot.verdict = kernelVerdict();
        std::uint64_t total = 0;
        size_t size = sizeof total;
        if (::sysctlbyname("hw.memsize", &total, &size, nullptr, 0) == 0) snapshot.totalBytes = total;
        xsw_usage swap {};
        size = sizeof swap;
        if (::sysctlbyname("vm.swapusage", &swap, &size, nullptr, 0) == 0) {
            snapshot.swapTotalBytes = swap.xsu_total;
            snapshot.swapUsedBytes = swap.xsu_used;
        }
        vm_statistics64_data_t statistics {};
        mach_msg_type_number_t count = HOST_VM_INFO64_COUNT;
        if (::host_statistics64(::mach_host_self(), HOST_VM_INFO64, reinterpret_cast<host_info64_t>(&statistics),
                                &count) == KERN_SUCCESS) {
            const std::uint64_t page = vm_kernel_page_size;
            // What could be handed out without compressing or swapping: free, speculative,
            // inactive and purgeable pages.
            snapshot.availableBytes = (std::uint64_t(statistics.free_count) + statistics.speculative_count +
                                       statistics.inactive_count + statistics.purgeable_count) * page;
            snapshot.compressor = CompressorKind::macos;
            snapshot.compressedBytes = std::uint64_t(statistics.compressor_page_count) * page;
            snapshot.compressedOriginalBytes = std::uint64_t(statistics.total_uncompressed_pages_in_compressor) * page;
        }
        return snapshot;
    }

    Result<ProcessMemory> processMemory(std::int32_t pid) override {
        struct proc_taskinfo task {};
        if (::proc_pidinfo(pid, PROC_PIDTASKINFO, 0, &task, sizeof task) != sizeof task) {
            // A process that has ended answers ESRCH; callers know that as "nothing is there".
            const int code = errno == ESRCH || errno == 0 ? ENOENT : errno;
            return errnoError("read the memory of process " + std::to_string(pid), code);
        }
        ProcessMemory memory;
        memory.residentBytes = task.pti_resident_size;
        std::set<std::string> seen;
        std::uint64_t address = 0;
        struct proc_regionwithpathinfo region {};
        while (::proc_pidinfo(pid, PROC_PIDREGIONPATHINFO, address, &region, sizeof region) == sizeof region) {
            const std::uint64_t next = region.prp_prinfo.pri_address + region.prp_prinfo.pri_size;
            if (next <= address) break;
            address = next;
            std::string path = region.prp_vip.vip_path;
            if (path.empty() || !seen.insert(path).second) continue;
            if (std::optional<MappedFile> file = mappedFileAt(path)) memory.mappedFiles.push_back(std::move(*file));
        }
        return memory;
    }
};

}  // namespace

MemoryProbe& MemoryProbe::real() {
    static auto* probe = new MachMemoryProbe();
    return *probe;
}

}  // namespace kelvor
