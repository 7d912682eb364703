#include "quillet/platform/memory_probe.hpp"

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

}  // namespace kelvor
