#pragma once
// Guards before removal: is anything on this machine using this path right now? Every target of a
// clean, a duplicate merge or an automation plan passes checkGuards before it moves.
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "quillet/platform/procs.hpp"

namespace kelvor {

// One reason not to touch a path, already in the person's language.
struct GuardViolation {
    std::string reason;
    bool hard = false;       // --force does not override it
    bool quitFrees = false;  // quitting a named app releases the path
    bool simulator = false;  // a booted simulator holds the path
};

// A file a process holds open or mapped, under the home folder.
struct OpenFile {
    std::int32_t pid = 0;
    std::string path;
};

enum class LiveSafe { no, yes };              // the rule allows removal while its owner runs
enum class RecentWriteCheck { run, skip };

// Every running process but Kelvor's own and those it started. None (not an empty list) when the
// process table cannot be read: the caller then moves nothing.
std::optional<std::vector<Proc>> runningProcessesChecked(ProcessTable& table = ProcessTable::real());

// The sentence given for every target when the process list is unavailable.
std::string cannotSeeProcessesNote();

// A sentence for the plan when other people's processes are hidden from this one; none otherwise.
std::optional<std::string> hiddenProcessesNote();

// Files under the home folder (followed by "/") that the listed processes hold open or mapped.
// Processes whose tables cannot be read are skipped.
std::vector<OpenFile> openHomeFiles(const std::vector<Proc>& procs, ProcessTable& table = ProcessTable::real());

// The violations for removing `path`, which the rule of `owner` claims. `procs` and `openFiles`
// are gathered once per run; openFiles is none when the caller did not gather them.
std::vector<GuardViolation> checkGuards(std::string_view owner, const std::string& path,
                                        const std::vector<Proc>& procs,
                                        const std::optional<std::vector<OpenFile>>& openFiles, LiveSafe liveSafe,
                                        RecentWriteCheck recentWrite);

// True when `path` or anything below it was modified within the last `withinSeconds`.
bool treeHasRecentWrite(const std::string& path, std::int64_t withinSeconds);

// The recent-write window in seconds, from "kelvor.recentWriteMinutes".
std::int64_t recentWriteWindow();
// False only when "kelvor.recentWriteGuard" holds a Boolean false.
bool recentWriteGuardOn();

// Asks the running apps of `owners` to quit and waits; returns the owners still running.
std::set<std::string> quitOwnersAndWait(const std::set<std::string>& owners);

}  // namespace kelvor
