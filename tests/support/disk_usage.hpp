#pragma once
// The independent count the walker is checked against: allocated bytes of the regular files below
// a folder, each inode once, as `du` counts them.
#include <cstdint>
#include <string>

namespace kelvor::testing {

std::uint64_t allocatedBytes(const std::string& root);

}  // namespace kelvor::testing
