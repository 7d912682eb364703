#include <fcntl.h>
#include <sys/stat.h>

#include "quillet/platform/entry_identity.hpp"

namespace kelvor {

// macOS has no bind mounts: every mount has a device of its own, so the device tells the boundary.
bool identityAt(int folder, const char* name, EntryIdentity& out) {
    struct stat info {};
    int result = name[0] == '\0' ? ::fstat(folder, &info) : ::fstatat(folder, name, &info, AT_SYMLINK_NOFOLLOW);
    if (result != 0) return false;
    out.device = static_cast<std::uint64_t>(info.st_dev);
    out.inode = static_cast<std::uint64_t>(info.st_ino);
    out.folder = S_ISDIR(info.st_mode);
    return true;
}

bool onSameMount(const EntryIdentity& entry, const EntryIdentity& reference) {
    return !entry.mountRoot && entry.device == reference.device;
}

}  // namespace kelvor
