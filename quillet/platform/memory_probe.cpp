#include "quillet/platform/memory_probe.hpp"

#include <sys/stat.h>

namespace kelvor {

std::string_view pressureVerdictName(PressureVerdict verdict) {
    switch (verdict) {
        case PressureVerdict::normal: return "normal";
        case PressureVerdict::warning: return "warning";
        case PressureVerdict::critical: return "critical";
        case PressureVerdict::unknown: break;
    }
    return "unknown";
}

std::string_view compressorKindName(CompressorKind kind) {
    switch (kind) {
        case CompressorKind::zswap: return "zswap";
        case CompressorKind::zram: return "zram";
        case CompressorKind::macos: return "macOS compressor";
        case CompressorKind::none: break;
    }
    return "none";
}

std::optional<MappedFile> mappedFileAt(const std::string& path) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return std::nullopt;
    return MappedFile{path, static_cast<std::uint64_t>(info.st_size), (info.st_mode & 0111) != 0};
}

}  // namespace kelvor
