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

// Opens `path` with `access` (O_WRONLY, O_RDWR, plus O_APPEND and the like), creating it with
// `mode` when missing. Refuses a link and anything but a regular file owned by the person running
// (kind denied). Returns the descriptor, which the caller closes.
Result<int> openOwnFile(const std::string& path, int access, unsigned mode);

// Appends `bytes` to `path` in one O_APPEND write sequence, creating the file (mode 0600) when it
// is missing; through openOwnFile, so never through a link. Concurrent appenders never interleave inside one call's bytes on a local disk.
Result<void> appendToFile(const std::string& path, std::string_view bytes);

// The whole content of `path`; an Error (kind notFound when nothing is there) otherwise.
Result<std::string> readWholeFile(const std::string& path);

}  // namespace kelvor
