#pragma once
// What both directory-reading backends share: POSIX file modes to object types, and how a failed
// read is counted. For the backends only; portable code uses dirs.hpp.
#include <cstdint>

#include "quillet/platform/result.hpp"

namespace kelvor {

// The walker's object type (VREG, VDIR, VLNK, ...) of a POSIX st_mode / stx_mode.
std::uint32_t objectTypeOfMode(unsigned mode);

// A failed open or read: a denial counts as denied, any other kind as an error.
void countReadFailure(ErrorKind kind, std::uint64_t& denied, std::uint64_t& errors);

}  // namespace kelvor
