#include "quillet/platform/memory_probe.hpp"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <set>

#include "quillet/platform/memory_text.hpp"
#include "quillet/platform/proc_text.hpp"
#include "quillet/records/file_bytes.hpp"

namespace kelvor {

namespace {

std::optional<std::string> textOf(const std::string& path) {
    Result<std::string> text = readWholeFile(path);
    if (!text) return std::nullopt;
    return std::move(*text);
}

// The mm_stat of every zram device; a device that is not set up reads as zeros and adds nothing.
std::vector<std::string> zramStats() {
    std::vector<std::string> stats;
    DIR* folder = ::opendir("/sys/block");
    if (!folder) return stats;
    while (dirent* entry = ::readdir(folder)) {
        std::string_view name = entry->d_name;
        if (!name.starts_with("zram")) continue;
        if (std::optional<std::string> stat = textOf("/sys/block/" + std::string(name) + "/mm_stat"))
            stats.push_back(std::move(*stat));
    }
    ::closedir(folder);
    return stats;
}

class ProcMemoryProbe final : public MemoryProbe {
public:
    MemorySnapshot snapshot() override {
        MemoryTexts texts;
        texts.pressure = textOf("/proc/pressure/memory");
        texts.meminfo = textOf("/proc/meminfo");
        texts.zswapPoolBytes = textOf("/sys/kernel/debug/zswap/pool_total_size");
        texts.zswapStoredPages = textOf("/sys/kernel/debug/zswap/stored_pages");
        texts.zramMmStats = zramStats();
        long page = ::sysconf(_SC_PAGESIZE);
        if (page > 0) texts.pageBytes = static_cast<std::uint64_t>(page);
        return snapshotFromTexts(texts);
    }

    Result<ProcessMemory> processMemory(std::int32_t pid) override {
        const std::string base = "/proc/" + std::to_string(pid);
        Result<std::string> status = readWholeFile(base + "/status");
        if (!status) return status.error();
        ProcessMemory memory;
        memory.residentBytes = residentFromStatus(*status).value_or(0);
        Result<std::string> maps = readWholeFile(base + "/maps");
        if (!maps) {
            // The status is world-readable; another user's map is not, without privilege.
            if (maps.error().kind == ErrorKind::notFound) return maps.error();
            memory.mappedFilesHidden = true;
            return memory;
        }
        std::set<std::string> seen;
        std::string_view text = *maps;
        while (!text.empty()) {
            size_t end = text.find('\n');
            std::string_view line = text.substr(0, end);
            text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
            std::optional<std::string> path = mappedFileFromMapsLine(line);
            if (!path || !seen.insert(*path).second) continue;
            if (std::optional<MappedFile> file = mappedFileAt(*path)) memory.mappedFiles.push_back(std::move(*file));
        }
        return memory;
    }
};

}  // namespace

MemoryProbe& MemoryProbe::real() {
    static auto* probe = new ProcMemoryProbe();
    return *probe;
}

}  // namespace kelvor
