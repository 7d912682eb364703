#pragma once
// What the OS says about itself, for the log header and the thread count.
#include <string>

namespace kelvor {

// "Linux" or "macOS".
std::string systemName();
// The kernel release on Linux, the product version on macOS; "" when unknown.
std::string systemVersion();
// Processors online now; at least 1.
int processorCount();

}  // namespace kelvor
