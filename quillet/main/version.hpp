#pragma once
// The program's version string, shown in the log header and to automation clients.
#include <string_view>

namespace kelvor {

inline constexpr std::string_view PROGRAM_VERSION = "1.0.14";

}  // namespace kelvor
