#pragma once
// Decoding what Linux shows about memory as text (/proc/pressure/memory, /proc/meminfo,
// /proc/<pid>/status, zram's mm_stat, zswap's debug counters), apart from reading it, so that
// every kernel's variant is a test on a string. Nothing here touches the file system.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quillet/platform/memory_probe.hpp"

namespace kelvor {

// The ten-second averages of "/proc/pressure/memory": the share of time (percent) in which at
// least one task ("some") or every non-idle task ("full") waited for memory.
struct PressureStall {
    double someAverage10 = 0;
    std::optional<double> fullAverage10;  // absent before Linux 5.13 wrote it for every resource
};

// The averages from the text of "/proc/pressure/memory"; none when the "some" line is missing or
// malformed (an empty file, a kernel that writes something else).
std::optional<PressureStall> parsePressureStall(std::string_view text);

// The verdict those averages amount to.
PressureVerdict verdictFromStall(const PressureStall& stall);

// The figures of "/proc/meminfo" this report uses, in bytes; a line that is missing stays empty.
struct Meminfo {
    std::optional<std::uint64_t> totalBytes;      // MemTotal
    std::optional<std::uint64_t> availableBytes;  // MemAvailable (Linux 3.14 and later)
    std::optional<std::uint64_t> swapTotalBytes;  // SwapTotal
    std::optional<std::uint64_t> swapFreeBytes;   // SwapFree
    std::optional<std::uint64_t> zswapBytes;      // Zswap: what the compressed pool occupies (5.19+)
    std::optional<std::uint64_t> zswappedBytes;   // Zswapped: what the pool holds uncompressed
};

Meminfo parseMeminfo(std::string_view text);

// The first three fields of a zram device's "mm_stat", in bytes: the data stored, its compressed
// size, and the memory the device uses for it all. None when the line is malformed.
struct ZramUsage {
    std::uint64_t originalBytes = 0;
    std::uint64_t compressedBytes = 0;
    std::uint64_t memoryUsedBytes = 0;
};

std::optional<ZramUsage> parseZramMmStat(std::string_view text);

// The resident size from the text of "/proc/<pid>/status" (its "VmRSS:" line, in kB), in bytes;
// none when the line is missing, as it is for kernel threads.
std::optional<std::uint64_t> residentFromStatus(std::string_view text);

// One unsigned whole number from a counter file such as zswap's "stored_pages"; none otherwise.
std::optional<std::uint64_t> parseCounter(std::string_view text);

// The texts a Linux snapshot is built from; a file that could not be read is absent.
struct MemoryTexts {
    std::optional<std::string> pressure;           // /proc/pressure/memory
    std::optional<std::string> meminfo;            // /proc/meminfo
    std::optional<std::string> zswapPoolBytes;     // /sys/kernel/debug/zswap/pool_total_size
    std::optional<std::string> zswapStoredPages;   // /sys/kernel/debug/zswap/stored_pages
    std::vector<std::string> zramMmStats;          // /sys/block/zram*/mm_stat
    std::uint64_t pageBytes = 4096;
};

// The snapshot those texts describe. Compressed memory is zswap's when it holds anything (from
// /proc/meminfo, or from its debug counters on kernels before 5.19), otherwise the zram devices'.
MemorySnapshot snapshotFromTexts(const MemoryTexts& texts);

}  // namespace kelvor
