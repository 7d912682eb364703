#include "quillet/platform/clone.hpp"

#include <fcntl.h>
#include <linux/fiemap.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <vector>

namespace kelvor {

namespace {

// The physical byte offset that holds `offset` of the open file, or none when unknown.
std::optional<std::uint64_t> physicalOffset(int fd, std::uint64_t offset) {
    // The request is a fiemap header followed by room for one extent.
    alignas(struct fiemap) unsigned char buffer[sizeof(struct fiemap) + sizeof(struct fiemap_extent)] = {};
    auto* map = reinterpret_cast<struct fiemap*>(buffer);
    map->fm_start = offset;
    map->fm_length = 1;
    map->fm_flags = FIEMAP_FLAG_SYNC;
    map->fm_extent_count = 1;
    if (::ioctl(fd, FS_IOC_FIEMAP, map) != 0 || map->fm_mapped_extents == 0) return std::nullopt;
    const fiemap_extent& extent = map->fm_extents[0];
    if (extent.fe_flags & (FIEMAP_EXTENT_UNKNOWN | FIEMAP_EXTENT_DELALLOC)) return std::nullopt;
    if (offset < extent.fe_logical) return std::nullopt;
    return extent.fe_physical + (offset - extent.fe_logical);
}

struct Fd {
    int fd;
    ~Fd() {
        if (fd >= 0) ::close(fd);
    }
};

}  // namespace

bool sharesExtents(const std::string& a, const std::string& b, std::uint64_t size) {
    Fd first{::open(a.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC)};
    Fd second{::open(b.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC)};
    if (first.fd < 0 || second.fd < 0) return false;
    struct stat sa {}, sb {};
    if (::fstat(first.fd, &sa) == 0 && ::fstat(second.fd, &sb) == 0 && sa.st_dev == sb.st_dev && sa.st_ino == sb.st_ino)
        return true;
    std::uint64_t probes[3] = {0, 0, 0};
    int count = 1;
    if (size >= 4097) probes[count++] = size / 2;
    if (size >= 8193) probes[count++] = size - 4096;
    for (int i = 0; i < count; ++i) {
        std::optional<std::uint64_t> left = physicalOffset(first.fd, probes[i]);
        std::optional<std::uint64_t> right = physicalOffset(second.fd, probes[i]);
        if (left && right && *left == *right) return true;
    }
    return false;
}

std::optional<std::string> storageMap(const std::string& path) {
    Fd file{::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC)};
    struct stat st {};
    if (file.fd < 0 || ::fstat(file.fd, &st) != 0 || !S_ISREG(st.st_mode)) return std::nullopt;
    // First how many extents there are, then all of them; dirty pages are written out first, so a
    // clone written to since shows its own new blocks.
    struct fiemap count {};
    count.fm_length = FIEMAP_MAX_OFFSET;
    count.fm_flags = FIEMAP_FLAG_SYNC;
    if (::ioctl(file.fd, FS_IOC_FIEMAP, &count) != 0 || count.fm_mapped_extents == 0) return std::nullopt;
    const std::uint32_t wanted = count.fm_mapped_extents;
    std::vector<std::uint64_t> buffer((sizeof(struct fiemap) + wanted * sizeof(struct fiemap_extent)) / 8 + 1, 0);
    auto* map = reinterpret_cast<struct fiemap*>(buffer.data());
    map->fm_length = FIEMAP_MAX_OFFSET;
    map->fm_flags = FIEMAP_FLAG_SYNC;
    map->fm_extent_count = wanted;
    if (::ioctl(file.fd, FS_IOC_FIEMAP, map) != 0 || map->fm_mapped_extents == 0) return std::nullopt;
    // Only plain extents say exactly where the bytes are: an encoded extent's physical offset names
    // the whole compressed run, not the part this file reads.
    constexpr std::uint32_t PLAIN = FIEMAP_EXTENT_LAST | FIEMAP_EXTENT_SHARED | FIEMAP_EXTENT_MERGED;
    std::string text = std::to_string(st.st_dev) + ":" + std::to_string(st.st_size);
    for (std::uint32_t i = 0; i < map->fm_mapped_extents; ++i) {
        const fiemap_extent& extent = map->fm_extents[i];
        if (extent.fe_flags & ~PLAIN) return std::nullopt;
        text += " " + std::to_string(extent.fe_logical) + "@" + std::to_string(extent.fe_physical) + "+" +
                std::to_string(extent.fe_length);
    }
    // A file that grew extents between the two questions is not described whole.
    if (!(map->fm_extents[map->fm_mapped_extents - 1].fe_flags & FIEMAP_EXTENT_LAST)) return std::nullopt;
    return text;
}

Result<void> cloneFile(const std::string& source, const std::string& destination) {
    Fd from{::open(source.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC)};
    if (from.fd < 0) return errnoError("open " + source);
    Fd to{::open(destination.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644)};
    if (to.fd < 0) return errnoError("create " + destination);
    if (::ioctl(to.fd, FICLONE, from.fd) != 0) {
        int code = errno;
        ::unlink(destination.c_str());
        return errnoError("clone " + source, code);
    }
    struct stat st {};
    if (::fstat(from.fd, &st) == 0) ::fchmod(to.fd, st.st_mode & 07777);
    return {};
}

}  // namespace kelvor
