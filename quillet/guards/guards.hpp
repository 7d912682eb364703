#pragma once
// Guards before removal: is anything on this machine using this path right now? Every target of a
// clean, a duplicate merge or an automation plan passes checkGuards before it moves.
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "quillet/platform/clock.hpp"
#include "quillet/platform/fsops.hpp"
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
// process table cannot be read or shows no process at all: the caller then moves nothing.
std::optional<std::vector<Proc>> runningProcessesChecked(ProcessTable& table = ProcessTable::real());

// The sentence given for every target when the process list is unavailable.
std::string cannotSeeProcessesNote();

// A sentence for the plan when other people's processes are hidden from this one; none otherwise.
std::optional<std::string> hiddenProcessesNote();
// The same, asking `table`: hidden when the table says so or when even process 1 is not listed.
std::optional<std::string> hiddenProcessesNote(ProcessTable& table);

// Files under the home folder (followed by "/") that the listed processes hold open or mapped,
// each (pid, path) once, sorted by path then pid: checkGuards finds a target's files in this order
// by binary search. Empty when the home folder is unknown. Processes whose tables cannot be read
// are skipped.
std::vector<OpenFile> openHomeFiles(const std::vector<Proc>& procs, ProcessTable& table = ProcessTable::real());

// The violations for removing `path`, which the rule of `owner` claims. `procs` and `openFiles`
// are gathered once per run; openFiles is none when the caller did not gather them. Checks, in
// order: a running executable inside the path (hard); a file open inside it (hard unless an app
// holds it, which quitting frees); the owner's app or tools running (soft; skipped for LiveSafe::yes);
// files written within the recent-write window (soft; skipped for RecentWriteCheck::skip).
std::vector<GuardViolation> checkGuards(std::string_view owner, const std::string& path,
                                        const std::vector<Proc>& procs,
                                        const std::optional<std::vector<OpenFile>>& openFiles, LiveSafe liveSafe,
                                        RecentWriteCheck recentWrite);

// The open files sorted by path, built once per run: checkGuards then finds a target's files by
// binary search alone, where a plain list is first checked for order on every call.
class OpenFileIndex {
public:
    explicit OpenFileIndex(std::vector<OpenFile> files);
    const std::vector<OpenFile>& files() const { return files_; }

private:
    std::vector<OpenFile> files_;
};

// checkGuards over an index; `openFiles` is null when the caller did not gather them.
std::vector<GuardViolation> checkGuards(std::string_view owner, const std::string& path,
                                        const std::vector<Proc>& procs, const OpenFileIndex* openFiles,
                                        LiveSafe liveSafe, RecentWriteCheck recentWrite);

// The hard violation for removing `target` when the command link `commandLink` (".../bin/node")
// now leads inside it but led to `resolvedAtScan` when the plan was made: removing it would take
// away the program the command runs now. None when the link leads elsewhere or has not moved.
std::optional<GuardViolation> commandLinkMovedHere(const std::string& target, const std::string& commandLink,
                                                   const std::string& resolvedAtScan);

// True when `path` or anything below it was modified within the last `withinSeconds`. Links are
// not followed; a path that does not exist, or a folder that cannot be read, is no recent write.
// The walk stops at the first recent entry.
bool treeHasRecentWrite(const std::string& path, std::int64_t withinSeconds);
bool treeHasRecentWrite(const std::string& path, std::int64_t withinSeconds, Clock& clock);

// The recent-write window in seconds, from "kelvor.recentWriteMinutes".
std::int64_t recentWriteWindow();
// The window for a stored number of minutes: 600 below 1 or when absent, 60 for 1, else at most
// 120 minutes.
std::int64_t recentWriteWindowFor(std::optional<std::int64_t> minutes);
// False only when "kelvor.recentWriteGuard" holds a Boolean false.
bool recentWriteGuardOn();

// The owner whose app `proc` is (its executable matches the owner's app fragments), or for any
// other program inside a macOS ".app/Contents/MacOS/" folder that bundle's name; none otherwise.
std::optional<std::string> guardProcLabel(const Proc& proc);

// True when `proc` runs the command `tool` ("hf download" names a command and its first argument),
// directly or through an interpreter such as sh, env, python or node.
bool procRunsTool(const Proc& proc, std::string_view tool);
// The command a process runs, for a sentence: the script an interpreter was given, else the
// executable (or the first argument when the executable cannot be read).
std::string procCommandName(const Proc& proc);
// True when an interpreter process names the library `token` among its arguments.
bool procMentionsToken(const Proc& proc, std::string_view token);

// True when `proc` runs as the system account `user` (a package's service account); false when
// either is unknown.
bool procRunsAsUser(const Proc& proc, std::string_view user);

// True when `identifier` equals one of `claims` or lies below one ("claim."), case ignored.
bool claimedByAnother(std::string_view identifier, const std::set<std::string>& claims);

// None when what is at the confirmed place is still what the person confirmed; otherwise the
// sentence that says what changed. `current` is none when nothing is there any more. On Linux the
// identity of the folder (device and inode) stands for an app bundle's identity.
std::optional<std::string> identityChangedNote(const std::string& recordedPath, const PathIdentity& recorded,
                                               const std::string& currentPath,
                                               const std::optional<PathIdentity>& current);

// Asks the running apps of `owners` to quit and waits; returns the owners still running.
std::set<std::string> quitOwnersAndWait(const std::set<std::string>& owners);
// The same through `table` (SIGTERM to the app processes that run as this user) and `clock`
// (polls every 300 ms for up to 10 seconds, then up to 5 more for apps still running).
std::set<std::string> quitOwnersAndWait(const std::set<std::string>& owners, ProcessTable& table, Clock& clock);

// Shuts down booted simulator devices; false where there are none to shut down or it failed.
bool shutdownSimulators();

}  // namespace kelvor
