#include "quillet/clean/ballast.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <vector>

#include "quillet/platform/home.hpp"

namespace kelvor {

Ballast::Ballast() : path_(dataDir() + "/reserve.bin") {}

bool Ballast::ensure() const {
    struct stat info {};
    if (::lstat(path_.c_str(), &info) == 0 && S_ISREG(info.st_mode) &&
        static_cast<std::size_t>(info.st_size) == BALLAST_BYTES)
        return true;
    std::error_code error;
    std::filesystem::create_directories(std::filesystem::path(path_).parent_path(), error);
    // O_NOFOLLOW: a link planted at the reserve's name is never written through.
    int descriptor = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (descriptor < 0) return false;
    const std::vector<char> piece(BALLAST_PIECE, '\0');
    bool whole = true;
    for (std::size_t written = 0; whole && written < BALLAST_BYTES; written += BALLAST_PIECE)
        whole = ::write(descriptor, piece.data(), piece.size()) == static_cast<ssize_t>(piece.size());
    whole = whole && ::fsync(descriptor) == 0;
    ::close(descriptor);
    if (!whole) ::unlink(path_.c_str());
    return whole;
}

bool Ballast::release() const { return ::unlink(path_.c_str()) == 0; }

}  // namespace kelvor
