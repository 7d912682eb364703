#pragma once
// What both directory-reading backends share: POSIX file modes to object types, and how a failed
// read is counted. For the backends only; portable code uses dirs.hpp.
#include <cstdint>

namespace kelvor {

// The walker's object type (VREG, VDIR, VLNK, ...) of a POSIX st_mode / stx_mode.
std::uint32_t objectTypeOfMode(unsigned mode);

// A failed open or read: permission errors (EACCES, EPERM) count as denied, the rest as errors.
void countReadFailure(int errorCode, std::uint64_t& denied, std::uint64_t& errors);

}  // namespace kelvor
