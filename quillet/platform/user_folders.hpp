#pragma once
// The person's own folders that the desktop names (documents, downloads, music and the like), and
// the Trash: places a survey of unclaimed space leaves alone. No OS types here.
#include <string>
#include <string_view>
#include <vector>

namespace kelvor {

// The folders named by an XDG "user-dirs.dirs" text for the desktop, documents, download, music,
// pictures, public share, templates and videos keys, as absolute paths. Values are shell-quoted
// "$HOME/..." or absolute "/..." paths; "$HOME" alone (the way to switch a folder off), relative
// values and other keys are left out. A key the text does not set keeps its default under `home`
// (Desktop, Documents, Downloads, Music, Pictures, Public, Templates, Videos).
std::vector<std::string> parseUserDirs(std::string_view text, const std::string& home);

// The person's own folders and the Trash under `home`, as this system names them; never `home`
// itself. On Linux: the XDG user folders (from the user-dirs file, defaults when it is absent) and
// the Trash under ~/.local/share. Elsewhere: none beyond what callers already leave out.
std::vector<std::string> personalFolders(const std::string& home);

}  // namespace kelvor
