#pragma once
// The SHA-256 of a whole file, read in large sequential blocks.
#include <cstdint>
#include <optional>
#include <string>

namespace kelvor {

// Bytes read per block when hashing a file. Large enough that a system call is nothing beside the
// hashing, small enough that the block is still in the processor's cache when the digest reads it
// back: with 8 MiB blocks hashing took half as long again.
inline constexpr std::size_t DIGEST_BLOCK_BYTES = 1'048'576;

// Bytes read at each of the three places a sample digest looks.
inline constexpr std::size_t SAMPLE_SPAN_BYTES = 65'536;

// The 64 lowercase hex digits of the SHA-256 of the regular file at `path` (never through a link);
// none on any open or read failure. `bytesRead` grows by the bytes actually read.
std::optional<std::string> sha256File(const std::string& path, std::uint64_t& bytesRead);

// The SHA-256 of three SAMPLE_SPAN_BYTES slices of the regular file at `path` (its start, middle and
// end; overlapping on files under three spans): files whose sample digests differ differ, equal
// ones may still differ elsewhere. None when the file cannot be read or is no longer `size` bytes.
std::optional<std::string> sha256Samples(const std::string& path, std::uint64_t size);

}  // namespace kelvor
