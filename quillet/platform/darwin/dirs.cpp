// First of all: its constants carry the names that <sys/attr.h> defines as macros, so they must be
// declared before those macros exist.
#include "quillet/platform/attr_records.hpp"
#include "quillet/platform/dirs.hpp"
#include "quillet/platform/dir_failures.hpp"

#include <fcntl.h>
#include <sys/attr.h>
#include <sys/stat.h>
#include <unistd.h>

#include <span>

namespace kelvor {

// The decoder's layout must be the system's: here the names below are the SDK's own macros.
static_assert(BULK_COMMON_ATTRS == (ATTR_CMN_RETURNED_ATTRS | ATTR_CMN_NAME | ATTR_CMN_ERROR | ATTR_CMN_OBJTYPE |
                                    ATTR_CMN_MODTIME | ATTR_CMN_FILEID));
static_assert(BULK_FILE_ATTRS == (ATTR_FILE_LINKCOUNT | ATTR_FILE_ALLOCSIZE));
static_assert(FSOPT_PACK_INVAL_ATTRS == 8 && ATTR_BIT_MAP_COUNT == BULK_BITMAP_COUNT);

// The bulk call returns every attribute of every entry at once, so `detail` changes nothing here.
bool readOpenDir(const OpenDir& dir, std::byte* buf, std::size_t bufSize, std::uint64_t& denied,
                 std::uint64_t& errors, const EntrySink& sink, EntryDetail) {
    const int fd = dir.descriptor();
    struct attrlist request {};
    request.bitmapcount = BULK_BITMAP_COUNT;
    request.commonattr = BULK_COMMON_ATTRS;
    request.fileattr = BULK_FILE_ATTRS;
    for (;;) {
        int count = ::getattrlistbulk(fd, &request, buf, bufSize, FSOPT_PACK_INVAL_ATTRS);
        if (count < 0) {
            countReadFailure(errorKindOf(errno), denied, errors);
            return false;
        }
        if (count == 0) break;
        if (!decodeAttrRecords(std::span<const std::byte>(buf, bufSize), static_cast<std::uint32_t>(count), errors,
                               sink)) {
            return false;
        }
    }
    return true;
}

Result<void> describeIn(const OpenDir& dir, const char* name, BulkEntry& entry) {
    struct stat info {};
    if (::fstatat(dir.descriptor(), name, &info, AT_SYMLINK_NOFOLLOW) != 0) return errnoError(name);
    entry.objType = objectTypeOfMode(info.st_mode);
    entry.fileID = info.st_ino;
    entry.linkCount = info.st_nlink;
    entry.allocSize = info.st_blocks > 0 ? static_cast<std::uint64_t>(info.st_blocks) * 512 : 0;
    entry.mtime = info.st_mtimespec.tv_sec;
    entry.device = static_cast<std::uint64_t>(info.st_dev);
    return {};
}

Result<BulkEntry> entryAt(const std::string& path) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0) return errnoError(path);
    BulkEntry entry;
    size_t slash = path.find_last_of('/');
    entry.name = slash == std::string::npos ? path : path.substr(slash + 1);
    entry.objType = objectTypeOfMode(info.st_mode);
    entry.fileID = info.st_ino;
    entry.linkCount = info.st_nlink;
    entry.allocSize = info.st_blocks > 0 ? static_cast<std::uint64_t>(info.st_blocks) * 512 : 0;
    entry.mtime = info.st_mtimespec.tv_sec;
    return entry;
}

}  // namespace kelvor
