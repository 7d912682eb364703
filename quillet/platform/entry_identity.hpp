#pragma once
// Which entry a name is and which mounted file system holds it, asked through an open folder so
// no path is resolved again: what deleting for good needs to stay on one file system.
#include <cstdint>

namespace kelvor {

struct EntryIdentity {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t mount = 0;  // the mount's id where the system tells it, else 0
    bool folder = false;
    bool mountRoot = false;   // the entry is itself mounted on (a bind mount keeps the device)
};

// The entry `name` in the open folder `folder`, a link taken as the link itself; "" names `folder`
// itself. False with errno set when it cannot be read.
bool identityAt(int folder, const char* name, EntryIdentity& out);

// True when `entry` lies on the same mounted file system as `reference` and is not itself the
// root of a mount.
bool onSameMount(const EntryIdentity& entry, const EntryIdentity& reference);

}  // namespace kelvor
