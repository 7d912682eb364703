#pragma once
// The machine's memory as the kernel reports it, and what one process holds resident, behind an
// interface so that a test can present any machine. The Linux backend only reads the files and
// leaves the decoding to memory_text.hpp; the macOS backend asks the kernel directly.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "quillet/platform/result.hpp"

namespace kelvor {

// The kernel's own verdict on memory pressure; unknown where the kernel gives none (a Linux
// kernel without pressure stall information, or one that hides it).
enum class PressureVerdict { unknown, normal, warning, critical };

// The stored form of a verdict ("unknown", "normal", "warning", "critical").
std::string_view pressureVerdictName(PressureVerdict verdict);

// Where compressed memory lives, when the system compresses memory at all.
enum class CompressorKind { none, zswap, zram, macos };

// The stored form of a compressor ("none", "zswap", "zram", "macOS compressor").
std::string_view compressorKindName(CompressorKind kind);

struct MemorySnapshot {
    PressureVerdict verdict = PressureVerdict::unknown;
    // The figures the verdict was read from: Linux's share of the last ten seconds in which some
    // or all tasks waited for memory, in percent; none on systems that give a level instead.
    std::optional<double> someAverage10;
    std::optional<double> fullAverage10;
    std::optional<std::uint64_t> totalBytes;
    std::optional<std::uint64_t> availableBytes;
    std::optional<std::uint64_t> swapTotalBytes;
    std::optional<std::uint64_t> swapUsedBytes;
    CompressorKind compressor = CompressorKind::none;
    std::optional<std::uint64_t> compressedBytes;  // memory the compressed pages occupy
    std::optional<std::uint64_t> compressedOriginalBytes;  // what they held before compression
};

// One regular file a process has mapped into memory.
struct MappedFile {
    std::string path;
    std::uint64_t bytes = 0;  // the file's size
    bool executable = false;  // a program's own code, however large, is no model's weights
};

// The file at a path a process's map names, as it is now: none unless it is a regular file. Looked
// at with lstat: the name is the kernel's, but the file at it now may be anything.
std::optional<MappedFile> mappedFileAt(const std::string& path);

struct ProcessMemory {
    std::uint64_t residentBytes = 0;
    std::vector<MappedFile> mappedFiles;  // each file once, regular files only
    bool mappedFilesHidden = false;       // the map of another user's process, closed to this one
};

class MemoryProbe {
public:
    virtual ~MemoryProbe() = default;

    // The machine's memory now. Never fails as a whole: a figure that cannot be read stays empty.
    virtual MemorySnapshot snapshot() = 0;

    // What process `pid` holds resident and which files it maps. An Error when the process cannot
    // be read at all (kind notFound once it ended).
    virtual Result<ProcessMemory> processMemory(std::int32_t pid) = 0;

    // The system's probe. Shared and never destroyed.
    static MemoryProbe& real();
};

}  // namespace kelvor
