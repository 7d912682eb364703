#pragma once
// Copy-on-write clones and shared storage between two files.
#include <cstdint>
#include <optional>
#include <string>

#include "quillet/platform/result.hpp"

namespace kelvor {

// True when the files at `a` and `b` (of equal size `size`) already share their storage: the same
// object, or the same physical offset at one of the probes (0; size/2 from 4,097 bytes; size-4,096
// from 8,193 bytes). False when it cannot be told.
bool sharesExtents(const std::string& a, const std::string& b, std::uint64_t size);

// Where the bytes of the regular file at `path` lie on its device, as an opaque text: two files
// with equal maps are read from the very same stored blocks, so they hold the same bytes. None when
// the file system cannot say so exactly (delayed, inline, encoded or unknown extents), or the file
// cannot be read.
std::optional<std::string> storageMap(const std::string& path);

// Makes `destination` (which must not exist) a copy-on-write clone of `source`. An Error carrying
// the OS's errno when the file system cannot clone; nothing is left at `destination` then.
Result<void> cloneFile(const std::string& source, const std::string& destination);

}  // namespace kelvor
