#pragma once
// What each owner's running programs look like, so that a store is not removed from under the app
// or tool that is writing it. Keyed by the owner strings that rules carry.
#include <string_view>
#include <vector>

namespace kelvor {

struct OwnerGuard {
    std::string_view owner;
    // A process is this owner's app when its executable path contains one of these. The macOS
    // bundle fragments and the Linux install, Flatpak and Snap paths are kept apart so that each
    // list can be checked against what the tool really looks like on that system; both are used.
    std::vector<std::string_view> appFragments = {};
    std::vector<std::string_view> linuxAppFragments = {};
    // A process is this owner's tool when its executable or its command names one of these
    // ("hf download" names a command and its first argument).
    std::vector<std::string_view> toolNames = {};
    // A process (an interpreter, typically) counts when its arguments mention one of these.
    std::vector<std::string_view> libraryTokens = {};
    // The system account a Linux package runs the tool's service as ("" when there is none): its
    // processes hold the owner's stores as a running tool, not as an app the person can quit.
    std::string_view linuxServiceUser = {};
};

// Every owner whose running programs guard its stores. Built once, never changed.
extern const std::vector<OwnerGuard> OWNER_GUARDS;

// The row of `owner`, or null when the owner has none.
const OwnerGuard* ownerGuard(std::string_view owner);

}  // namespace kelvor
