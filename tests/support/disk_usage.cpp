#include "tests/support/disk_usage.hpp"

#include <sys/stat.h>

#include <filesystem>
#include <set>
#include <utility>

namespace kelvor::testing {

std::uint64_t allocatedBytes(const std::string& path) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0) return 0;
    return static_cast<std::uint64_t>(info.st_blocks) * 512;
}

std::uint64_t allocatedBytesBelow(const std::string& root) {
    std::set<std::pair<dev_t, ino_t>> seen;
    std::uint64_t total = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
        struct stat info {};
        if (::lstat(entry.path().c_str(), &info) == 0 && S_ISREG(info.st_mode) &&
            seen.insert({info.st_dev, info.st_ino}).second)
            total += static_cast<std::uint64_t>(info.st_blocks) * 512;
    }
    return total;
}

}  // namespace kelvor::testing
