#include "quillet/scan/fmt_bytes.hpp"

#include <array>
#include <cstdio>

namespace kelvor {

std::string fmtBytes(std::uint64_t n) {
    static constexpr std::array<const char*, 5> UNITS = {"B", "KB", "MB", "GB", "TB"};
    double value = static_cast<double>(n);
    std::size_t unit = 0;
    if (n >= 1000) {
        value /= 1000;
        unit = 1;
        while (value >= 1000 && unit < UNITS.size() - 1) {
            value /= 1000;
            ++unit;
        }
    }
    char text[48];
    std::snprintf(text, sizeof text, "%.1f %s", value, UNITS[unit]);
    return text;
}

}  // namespace kelvor
