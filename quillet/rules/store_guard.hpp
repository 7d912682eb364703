#pragma once
// Which resolved store paths may ever become hits: never the system, the home or a whole file
// system, and never someone else's folder reached through a variable or a link.
#include <optional>
#include <string>
#include <string_view>

namespace kelvor {

enum class StoreRefusal {
    homeOrAbove,     // "/", the home folder or a folder above it
    mountRoot,       // the root of a mounted file system
    systemFolder,    // a top-level system folder such as /usr or /etc
    notYours,        // given by a variable or a link, and owned by someone else
    linkLeavesHome,  // run as root, a followed link leads out of the home folder
};

// How the location rule arrived at a path.
struct StoreOrigin {
    bool fromVariable = false;  // a variable named it
    bool throughLink = false;   // a symbolic link on the way was followed
};

// Why `realPath` (links resolved) may not be a hit for the person whose home is `realHome`
// (links resolved) and whose user id is `uid`; none when it may.
std::optional<StoreRefusal> storeRefusal(const std::string& realPath, const std::string& realHome, StoreOrigin origin,
                                         unsigned uid);

// A short English reason for the log.
std::string_view storeRefusalReason(StoreRefusal refusal);

// True when `path` is "/" or a folder directly under it that the system owns.
bool isTopLevelSystemFolder(std::string_view path);

// True when `path` is the root of a mounted file system (its parent lies on another device).
bool isMountRoot(const std::string& path);

}  // namespace kelvor
