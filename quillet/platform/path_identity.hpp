#pragma once
// Which file-system object a path names: two paths name the same object when device and inode match.
#include <cstdint>
#include <string>

#include "quillet/platform/result.hpp"

namespace kelvor {

struct PathIdentity {
    std::uint64_t dev = 0;
    std::uint64_t ino = 0;
    bool isDir = false;
    bool operator==(const PathIdentity&) const = default;
};

// The identity of `path` itself (a link is the link); an Error with errno when nothing is there.
Result<PathIdentity> identityOf(const std::string& path);

}  // namespace kelvor
