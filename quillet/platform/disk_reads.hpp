#pragma once
// How much this process has made the system read from storage, as opposed to from its caches.
#include <cstdint>
#include <optional>

namespace kelvor {

// Bytes this process (all its threads) has caused to be read from storage since it started; none
// when the system does not tell. A walk whose count grows is waiting on the disk.
std::optional<std::uint64_t> bytesReadFromDisk();

}  // namespace kelvor
