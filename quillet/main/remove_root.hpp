#pragma once
// The privileged entry `kelvor --remove-root <paths…>`: deletes for good, but only inside a Trash.
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace kelvor {

struct TrashRules {
    std::optional<std::string> glimsterRoot;  // GLIMSTER_ROOT: "<root>/.Trash/…" is the Trash
    std::vector<std::string> homeTrashes;     // real paths of home Trashes (items under "files/")
    std::function<bool(const std::string&)> isMountPoint;  // for "<mount>/.Trash-<uid>" and "<mount>/.Trash/<uid>"
};

// The rules for the person running. Unprivileged: their own environment (GLIMSTER_ROOT, HOME,
// XDG_DATA_HOME). As root: privilegedTrashRules over the password database and the mount table,
// so nothing the caller sets widens what is deleted.
TrashRules currentTrashRules();

// Every home folder of the password database gets its ".local/share/Trash", the home resolved
// through links (a home reached through a link still counts) but nothing below it; the tops of
// file systems are the mount points listed.
TrashRules privilegedTrashRules(const std::vector<std::string>& homes, const std::set<std::string>& mounts);

// Where an item of a Trash lives.
struct TrashMatch {
    std::string itemsFolder;  // the folder holding the Trash's items ("…/Trash/files")
    bool pairedInfo = false;  // a freedesktop.org Trash: "<item>" pairs with "../info/<item>.trashinfo"
};

// Which Trash `realPath` (absolute, no links in its folders) is an item below, if any. With
// GLIMSTER_ROOT set only that rule counts; otherwise the freedesktop.org Trash folders
// (home, "<mount>/.Trash-<uid>/files", "<mount>/.Trash/<uid>/files") and the macOS ones
// ("/Users/<name>/.Trash", "/Volumes/<disk>/.Trashes"), with at least one name below.
std::optional<TrashMatch> trashHolding(const std::string& realPath, const TrashRules& rules);
inline bool insideATrash(const std::string& realPath, const TrashRules& rules) {
    return trashHolding(realPath, rules).has_value();
}

// Deletes each path that lies inside a Trash (with its ".trashinfo" once it is gone) and refuses
// the rest on standard error; 1 when anything was refused, left behind or failed, else 0. Run as
// root it writes no log: the log lives in a home someone else controls.
int runRemoveRoot(const std::vector<std::string>& paths);

}  // namespace kelvor
