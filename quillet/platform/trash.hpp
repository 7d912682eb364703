#pragma once
// The person's Trash as the OS defines it.
#include <string>

namespace kelvor {

// The home Trash: "$XDG_DATA_HOME/Trash" (default "~/.local/share/Trash") on Linux, "~/.Trash" on
// macOS. On Linux its items live in "files/", on macOS directly inside.
std::string homeTrashFolder();

// True when `path` is the root of a mounted file system (its device differs from its parent's,
// or it is "/").
bool isMountPoint(const std::string& path);

}  // namespace kelvor
