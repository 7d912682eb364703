#pragma once
// The SHA-256 of a whole file, read in large sequential blocks.
#include <cstdint>
#include <optional>
#include <string>

namespace kelvor {

// Bytes read per block when hashing a file.
inline constexpr std::size_t DIGEST_BLOCK_BYTES = 8'388'608;

// The 64 lowercase hex digits of the SHA-256 of the regular file at `path` (never through a link);
// none on any open or read failure. `bytesRead` grows by the bytes actually read.
std::optional<std::string> sha256File(const std::string& path, std::uint64_t& bytesRead);

}  // namespace kelvor
