#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include "quillet/platform/entry_identity.hpp"

namespace kelvor {

// statx tells the mount id and whether the entry is a mount's root: a bind mount of a folder of
// the same file system shares its device number, so the device alone cannot see it.
bool identityAt(int folder, const char* name, EntryIdentity& out) {
    struct statx info {};
    int flags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT | (name[0] == '\0' ? AT_EMPTY_PATH : 0);
    if (::statx(folder, name, flags, STATX_TYPE | STATX_INO | STATX_MNT_ID, &info) != 0) return false;
    out.device = makedev(info.stx_dev_major, info.stx_dev_minor);
    out.inode = info.stx_ino;
    out.mount = (info.stx_mask & STATX_MNT_ID) ? info.stx_mnt_id : 0;
    out.folder = S_ISDIR(info.stx_mode);
    out.mountRoot = (info.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT) && (info.stx_attributes & STATX_ATTR_MOUNT_ROOT);
    return true;
}

bool onSameMount(const EntryIdentity& entry, const EntryIdentity& reference) {
    if (entry.mountRoot || entry.device != reference.device) return false;
    return entry.mount == 0 || reference.mount == 0 || entry.mount == reference.mount;
}

}  // namespace kelvor
