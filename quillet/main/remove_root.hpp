#pragma once
// The privileged entry `kelvor --remove-root <paths…>`: deletes for good, but only inside a Trash.
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace kelvor {

struct TrashRules {
    std::optional<std::string> glimsterRoot;  // GLIMSTER_ROOT: "<root>/.Trash/…" is the Trash
    std::string homeTrash;                    // the home Trash ("…/Trash", items under "files/")
    std::function<bool(const std::string&)> isMountPoint;  // for "<mount>/.Trash-<uid>" and "<mount>/.Trash/<uid>"
};

// The rules of this machine and environment.
TrashRules currentTrashRules();

// Is `realPath` (absolute, no links in its folders) an item below a Trash folder? With
// GLIMSTER_ROOT set only that rule counts; otherwise the freedesktop.org Trash folders
// (home, "<mount>/.Trash-<uid>/files", "<mount>/.Trash/<uid>/files") and the macOS ones
// ("/Users/<name>/.Trash", "/Volumes/<disk>/.Trashes"), with at least one name below.
bool insideATrash(const std::string& realPath, const TrashRules& rules);

// Deletes each path that lies inside a Trash and refuses the rest on standard error;
// 1 when anything was refused or failed, else 0.
int runRemoveRoot(const std::vector<std::string>& paths);

}  // namespace kelvor
