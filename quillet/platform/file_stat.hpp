#pragma once
// What the file system says about one file, in plain fields the callers can compare.
#include <cstdint>
#include <string>

#include "quillet/platform/result.hpp"

namespace kelvor {

struct FileStat {
    std::uint64_t inode = 0;
    std::uint64_t size = 0;               // bytes
    std::int64_t modifiedSeconds = 0;     // last modification, seconds since the epoch
    std::int64_t modifiedNanoseconds = 0; // and the nanoseconds within that second
};

// The file at `path`, symbolic links followed; an Error carrying errno otherwise (ENOENT or
// ENOTDIR when nothing is there).
Result<FileStat> statFile(const std::string& path);

}  // namespace kelvor
