#pragma once
// The person's Trash as the OS defines it: where it is, moving an item into it, and the
// put-back record the OS keeps for each entry.
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quillet/platform/result.hpp"

namespace kelvor {

// The home Trash: "$XDG_DATA_HOME/Trash" (default "~/.local/share/Trash") on Linux, "~/.Trash" on
// macOS. On Linux its items live in "files/", on macOS directly inside.
std::string homeTrashFolder();

// True when `path` is the root of a mounted file system (its device differs from its parent's,
// or it is "/").
bool isMountPoint(const std::string& path);

// Where a move into the Trash put an item.
struct TrashMove {
    std::string destination;  // the item's path in the Trash
    std::string recordPath;   // its put-back record (".trashinfo"), "" where the OS keeps none
};

// The top of the mounted file system that holds `path` (the highest folder above it on the same
// device); "/" at worst.
std::string mountTopOf(const std::string& path);

// Renames `path` (absolute, its folders free of links) into the Trash of its own file system —
// the home Trash, or on another mount that mount's Trash — under a name not yet taken there.
// Never copies across file systems. On Linux the ".trashinfo" record (with `deletionDate`, and
// `recordAs` as the place to put it back to when given, else `path`) is created first and removed
// again when the rename fails.
Result<TrashMove> moveToTrash(const std::string& path, std::string_view deletionDate, const std::string& recordAs = "");

// The Trash folders of this user that exist: the home Trash first, then those of other mounts.
std::vector<std::string> trashFolders();

// The folder holding the entries of a Trash folder ("<trash>/files" on Linux, the folder itself
// on macOS).
std::string trashEntriesFolder(const std::string& trashFolder);

// For `entryPath` directly inside a Trash: the absolute path the OS's put-back record says the
// entry came from; none when there is no readable record.
std::optional<std::string> trashRecordOrigin(const std::string& entryPath);

// Removes the put-back record of an entry that has left the Trash (Linux); nothing on macOS.
void forgetTrashRecord(const std::string& entryPath);

// True for paths on the sealed system volume, which nobody can remove (macOS); false on Linux.
bool onSealedSystemVolume(const std::string& path);

}  // namespace kelvor
