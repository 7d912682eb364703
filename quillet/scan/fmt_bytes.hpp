#pragma once
// The one formatter for every size the program shows.
#include <cstdint>
#include <string>

namespace kelvor {

// Decimal steps of 1000 from B to TB, one digit after the point: 0 -> "0.0 B", 1536000 -> "1.5 MB",
// 10^15 -> "1000.0 TB". The unit is chosen before rounding, so 999950 gives "1000.0 KB".
std::string fmtBytes(std::uint64_t n);

}  // namespace kelvor
