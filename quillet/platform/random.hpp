#pragma once
// Bytes from the system's secure random source, for secrets such as one-time plan tokens.
#include <cstddef>

#include "quillet/platform/result.hpp"

namespace kelvor {

// Fills `size` bytes at `bytes` from the kernel's secure source. Fails, rather than filling
// fewer, when the source does not deliver them all.
Result<void> secureRandomBytes(unsigned char* bytes, std::size_t size);

}  // namespace kelvor
