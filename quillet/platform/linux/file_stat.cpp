#include "quillet/platform/file_stat.hpp"

#include <sys/stat.h>

namespace kelvor {

Result<FileStat> statFile(const std::string& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) return errnoError("stat " + path);
    return FileStat{static_cast<std::uint64_t>(info.st_ino), static_cast<std::uint64_t>(info.st_size),
                    static_cast<std::int64_t>(info.st_mtim.tv_sec), static_cast<std::int64_t>(info.st_mtim.tv_nsec)};
}

}  // namespace kelvor
