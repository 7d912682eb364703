#include "quillet/platform/path_identity.hpp"

#include <sys/stat.h>

namespace kelvor {

Result<PathIdentity> identityOf(const std::string& path) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0) return errnoError("lstat " + path);
    return PathIdentity{static_cast<std::uint64_t>(info.st_dev), static_cast<std::uint64_t>(info.st_ino),
                        S_ISDIR(info.st_mode)};
}

}  // namespace kelvor
