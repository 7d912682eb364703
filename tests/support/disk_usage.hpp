#pragma once
// The independent counts the walker is checked against, taken with lstat as `du` would.
#include <cstdint>
#include <string>

namespace kelvor::testing {

// What lstat says one path occupies on disk (its blocks times 512); 0 when it is not there.
std::uint64_t allocatedBytes(const std::string& path);

// Allocated bytes of the regular files below a folder, each inode once.
std::uint64_t allocatedBytesBelow(const std::string& root);

}  // namespace kelvor::testing
