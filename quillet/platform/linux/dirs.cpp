#include "quillet/platform/dirs.hpp"
#include "quillet/platform/dir_failures.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <climits>
#include <cstring>

namespace kelvor {

namespace {

// What the walk needs of a file, and nothing the file system must work harder for.
constexpr unsigned STATX_WANTED = STATX_TYPE | STATX_MODE | STATX_INO | STATX_NLINK | STATX_BLOCKS | STATX_MTIME;

std::uint32_t typeOfDirent(unsigned char type) {
    switch (type) {
        case DT_REG: return VREG;
        case DT_DIR: return VDIR;
        case DT_LNK: return VLNK;
        case DT_BLK: return VBLK;
        case DT_CHR: return VCHR;
        case DT_SOCK: return VSOCK;
        case DT_FIFO: return VFIFO;
        default: return VNON;
    }
}

void fillFromStatx(const struct statx& info, BulkEntry& entry) {
    entry.objType = objectTypeOfMode(info.stx_mode);
    entry.fileID = info.stx_ino;
    entry.linkCount = info.stx_nlink;
    entry.allocSize = (info.stx_mask & STATX_BLOCKS) ? info.stx_blocks * 512 : 0;
    entry.mtime = info.stx_mtime.tv_sec;
    entry.device = makedev(info.stx_dev_major, info.stx_dev_minor);
}

bool isDotOrDotDot(const char* name) {
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

// The fixed head of a linux_dirent64 record, read with memcpy because the buffer is bytes.
struct DirentHead {
    std::uint64_t ino;
    std::int64_t off;
    unsigned short reclen;
    unsigned char type;
};
constexpr std::size_t NAME_OFFSET = 19;  // offsetof(linux_dirent64, d_name)

}  // namespace

bool readOpenDir(const OpenDir& dir, std::byte* buf, std::size_t bufSize, std::uint64_t& denied,
                 std::uint64_t& errors, const EntrySink& sink, EntryDetail detail) {
    const int fd = dir.descriptor();
    // One entry object for the whole directory, so its name's storage is reused, not reallocated.
    BulkEntry entry;
    for (bool first = true;; first = false) {
        long got = ::syscall(SYS_getdents64, fd, buf, bufSize);
        if (got < 0) {
            countReadFailure(errorKindOf(errno), denied, errors);
            return false;
        }
        if (got == 0) break;
        if (first && detail == EntryDetail::regularFilesOfSmallFolders) {
            // The system fills the buffer as far as the listing goes: room left for two more of
            // the longest entries means this read holds all of it. A wrong guess costs only speed.
            const bool small = static_cast<std::size_t>(got) + 2 * (NAME_OFFSET + NAME_MAX + 1) <= bufSize;
            detail = small ? EntryDetail::regularFilesOnly : EntryDetail::namesAndTypes;
        }
        std::size_t at = 0;
        const std::size_t end = static_cast<std::size_t>(got);
        while (at + NAME_OFFSET < end) {
            DirentHead head;
            std::memcpy(&head.ino, buf + at, 8);
            std::memcpy(&head.off, buf + at + 8, 8);
            std::memcpy(&head.reclen, buf + at + 16, 2);
            std::memcpy(&head.type, buf + at + 18, 1);
            if (head.reclen <= NAME_OFFSET || at + head.reclen > end) {
                ++errors;
                return false;
            }
            const char* name = reinterpret_cast<const char*>(buf + at + NAME_OFFSET);
            std::size_t nameLength = ::strnlen(name, head.reclen - NAME_OFFSET);
            at += head.reclen;
            if (isDotOrDotDot(name)) continue;

            entry.name.assign(name, nameLength);
            entry.objType = typeOfDirent(head.type);
            bool needStat = detail == EntryDetail::everyEntry || head.type == DT_UNKNOWN ||
                            (detail == EntryDetail::regularFilesOnly && entry.objType == VREG);
            if (needStat) {
                struct statx info;
                if (::statx(fd, entry.name.c_str(), AT_SYMLINK_NOFOLLOW | AT_STATX_DONT_SYNC, STATX_WANTED, &info) != 0) {
                    // Removed between the listing and the look: it is simply gone, not an error.
                    if (errorKindOf(errno) != ErrorKind::notFound) ++errors;
                    continue;
                }
                fillFromStatx(info, entry);
            } else {
                entry.fileID = head.ino;
                entry.linkCount = 0;
                entry.allocSize = 0;
                entry.mtime = 0;
                entry.device = 0;
            }
            sink(entry);
        }
    }
    return true;
}

Result<void> describeIn(const OpenDir& dir, const char* name, BulkEntry& entry) {
    struct statx info;
    if (::statx(dir.descriptor(), name, AT_SYMLINK_NOFOLLOW | AT_STATX_DONT_SYNC, STATX_WANTED, &info) != 0)
        return errnoError(name);
    fillFromStatx(info, entry);
    return {};
}

Result<BulkEntry> entryAt(const std::string& path) {
    struct statx info;
    if (::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW | AT_STATX_DONT_SYNC, STATX_WANTED, &info) != 0)
        return errnoError(path);
    BulkEntry entry;
    size_t slash = path.find_last_of('/');
    entry.name = slash == std::string::npos ? path : path.substr(slash + 1);
    fillFromStatx(info, entry);
    return entry;
}

}  // namespace kelvor
