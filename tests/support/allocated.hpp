#pragma once
// What lstat says a path occupies on disk: the independent answer walker tests compare against.
#include <sys/stat.h>

#include <cstdint>
#include <string>

namespace kelvor::testing {

inline std::uint64_t allocatedBytes(const std::string& path) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0) return 0;
    return static_cast<std::uint64_t>(info.st_blocks) * 512;
}

}  // namespace kelvor::testing
