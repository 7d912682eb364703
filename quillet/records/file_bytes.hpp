#pragma once
// The byte-level pieces every record shares: write all of a buffer, append to a file, read a file
// whole. No locking here; record_lock.hpp adds it.
#include <string>
#include <string_view>

#include "quillet/platform/result.hpp"

namespace kelvor {

// Writes every byte of `bytes` to `descriptor`, retrying interrupted and short writes. `name`
// names the file in the Error.
Result<void> writeAllBytes(int descriptor, std::string_view bytes, const std::string& name);

// Appends `bytes` to `path` in one O_APPEND write sequence, creating the file (mode 0600) when it
// is missing. Concurrent appenders never interleave inside one call's bytes on a local disk.
Result<void> appendToFile(const std::string& path, std::string_view bytes);

// The whole content of `path`; an Error (kind notFound when nothing is there) otherwise.
Result<std::string> readWholeFile(const std::string& path);

}  // namespace kelvor
