// The four checks a target passes before it moves.
#include <algorithm>
#include <filesystem>

#include "quillet/guards/guards.hpp"
#include "quillet/guards/owner_guards.hpp"
#include "quillet/i18n/text.hpp"
#include "quillet/platform/path_inside.hpp"
#include "quillet/platform/printable.hpp"

namespace kelvor {

namespace {

// A process's executable or command line may hold any byte; the plan prints it on a terminal.
std::string shown(std::string_view text) { return escapeControls(text); }

std::string procName(const Proc& proc) { return shown(procCommandName(proc)); }

const Proc* procById(const std::vector<Proc>& procs, std::int32_t pid) {
    auto found = std::find_if(procs.begin(), procs.end(), [pid](const Proc& p) { return p.pid == pid; });
    return found == procs.end() ? nullptr : &*found;
}

bool isSimulatorProc(const Proc& proc) {
    return proc.path.find("/Library/Developer/PrivateFrameworks/CoreSimulator.framework/") != std::string::npos ||
           proc.path.find("/Developer/CoreSimulator/") != std::string::npos;
}

// A helper bundle nested inside the app's own (".../Google Chrome.app/Contents/Frameworks/...
// Helper.app/Contents/MacOS/..."): it lives and ends with the app.
bool helperFollowsApp(const Proc& proc) {
    size_t outer = proc.path.find(".app/");
    return outer != std::string::npos && proc.path.find(".app/", outer + 5) != std::string::npos;
}

bool isSafariWebKitHelper(const Proc& proc) { return proc.path.find("com.apple.WebKit.") != std::string::npos; }

// xcodebuild asked only for information (versions, SDKs, settings) builds nothing.
bool xcodeBuildStarted(const Proc& proc) {
    for (std::string_view query : {" -version", " -showsdks", " -list", " -showBuildSettings", " -help", " -usage",
                                   " -find", " -license", " -checkFirstLaunchStatus"})
        if (proc.args.find(query) != std::string::npos) return false;
    return true;
}

// The row's own fragments, not guardProcLabel: two owners may share an app (Docker and Docker
// Desktop) and the label names only the first.
bool ownersApp(const OwnerGuard& row, const Proc& proc) {
    auto inPath = [&](std::string_view fragment) { return proc.path.find(fragment) != std::string::npos; };
    return !proc.path.empty() && (std::any_of(row.appFragments.begin(), row.appFragments.end(), inPath) ||
                                  std::any_of(row.linuxAppFragments.begin(), row.linuxAppFragments.end(), inPath));
}

bool ownersTool(const OwnerGuard& row, const Proc& proc) {
    for (std::string_view tool : row.toolNames)
        if (procRunsTool(proc, tool)) return true;
    for (std::string_view token : row.libraryTokens)
        if (procMentionsToken(proc, token)) return true;
    return false;
}

void checkBinariesInside(const std::string& target, const std::vector<Proc>& procs,
                         std::vector<GuardViolation>& out) {
    for (const Proc& proc : procs) {
        if (proc.path.empty() || !pathInside(proc.path, target)) continue;
        out.push_back({.reason = trf(S::guardBinaryInside, {std::to_string(proc.pid), shown(proc.path)}), .hard = true});
    }
}

bool byPath(const OpenFile& a, const OpenFile& b) { return a.path < b.path; }

// `files` is sorted by path, so a target's files are one run found by binary search.
void checkOpenFiles(const std::string& target, const std::vector<Proc>& procs,
                    const std::vector<OpenFile>* files, std::vector<GuardViolation>& out) {
    std::vector<std::int32_t> reported;
    auto first = std::lower_bound(files->begin(), files->end(), OpenFile{0, target}, byPath);
    // Everything inside the target begins with its text; "target-2" sorts among them and is passed.
    for (auto it = first; it != files->end() && it->path.starts_with(target); ++it) {
        if (!pathInside(it->path, target)) continue;
        // One sentence per process: a program holding a thousand files is still one reason.
        if (std::find(reported.begin(), reported.end(), it->pid) != reported.end()) continue;
        reported.push_back(it->pid);
        const std::string pid = std::to_string(it->pid);
        const Proc* proc = procById(procs, it->pid);
        std::optional<std::string> label = proc ? guardProcLabel(*proc) : std::nullopt;
        if (proc && isSafariWebKitHelper(*proc)) {
            out.push_back({.reason = trf(S::guardSafariHelperFileOpen, {pid, shown(it->path)}), .quitFrees = true});
        } else if (label) {
            out.push_back({.reason = trf(S::guardAppFileOpen, {shown(*label), pid, shown(it->path)}), .quitFrees = true});
        } else {
            out.push_back({.reason = trf(S::guardFileOpen, {pid, shown(it->path)}), .hard = true});
        }
    }
}

void checkOwnerRunning(const OwnerGuard& row, const std::vector<Proc>& procs, std::vector<GuardViolation>& out) {
    const std::string owner = shown(row.owner);
    bool appReported = false;
    std::vector<const Proc*> helpers;
    for (const Proc& proc : procs) {
        const std::string pid = std::to_string(proc.pid);
        if (isSimulatorProc(proc) && ownersApp(row, proc)) {
            out.push_back({.reason = trf(S::guardSimulatorHolds, {owner, pid, procName(proc)}), .simulator = true});
            continue;
        }
        if (row.owner == "Xcode" && std::string_view(proc.path).ends_with("/xcodebuild") && !xcodeBuildStarted(proc))
            continue;
        // A system service of the tool (Ollama's server under its own account) is running, but it
        // is not an app the person can quit.
        if (!row.linuxServiceUser.empty() && (ownersApp(row, proc) || ownersTool(row, proc)) &&
            procRunsAsUser(proc, row.linuxServiceUser)) {
            out.push_back({.reason = trf(S::guardToolRunning, {owner, pid, procName(proc)})});
            continue;
        }
        if (ownersApp(row, proc) && helperFollowsApp(proc)) {
            helpers.push_back(&proc);
            continue;
        }
        if (ownersApp(row, proc)) {
            const Proc* parent = procById(procs, proc.ppid);
            if (parent && ownersApp(row, *parent)) {
                helpers.push_back(&proc);
            } else if (!appReported) {
                // The app's own processes are one reason; quitting it ends them all.
                appReported = true;
                out.push_back({.reason = trf(S::guardOwningAppRunning, {owner}), .quitFrees = true});
            }
            continue;
        }
        if (!ownersTool(row, proc)) continue;
        const Proc* parent = procById(procs, proc.ppid);
        if (parent && ownersTool(row, *parent))
            out.push_back({.reason = trf(S::guardOwnerHelperRunning, {owner, pid, procName(proc)})});
        else
            out.push_back({.reason = trf(S::guardToolRunning, {owner, pid, procName(proc)})});
    }
    // Helpers whose app is not itself listed (it ended, or runs as another user) still hold the store.
    if (!appReported)
        for (const Proc* helper : helpers) {
            const Sentence& sentence = helperFollowsApp(*helper) ? S::guardHelperInBundle : S::guardOwnerHelperRunning;
            out.push_back({.reason = trf(sentence, {owner, std::to_string(helper->pid), procName(*helper)}),
                           .quitFrees = true});
        }
}

std::vector<GuardViolation> checkSorted(std::string_view owner, const std::string& path,
                                        const std::vector<Proc>& procs, const std::vector<OpenFile>* sortedFiles,
                                        LiveSafe liveSafe, RecentWriteCheck recentWrite) {
    std::string target = path;
    while (target.size() > 1 && target.back() == '/') target.pop_back();
    std::vector<GuardViolation> violations;
    checkBinariesInside(target, procs, violations);
    if (sortedFiles) checkOpenFiles(target, procs, sortedFiles, violations);
    if (liveSafe == LiveSafe::no)
        if (const OwnerGuard* row = ownerGuard(owner)) checkOwnerRunning(*row, procs, violations);
    if (recentWrite == RecentWriteCheck::run && recentWriteGuardOn()) {
        std::int64_t window = recentWriteWindow();
        if (treeHasRecentWrite(target, window))
            violations.push_back({.reason = trf(S::guardRecentWrite, {std::to_string(window / 60)})});
    }
    return violations;
}

}  // namespace

std::optional<GuardViolation> commandLinkMovedHere(const std::string& target, const std::string& commandLink,
                                                   const std::string& resolvedAtScan) {
    // Only read: where the link leads now. A link that no longer resolves leads nowhere inside.
    std::error_code failed;
    const std::string now = std::filesystem::canonical(commandLink, failed).string();
    if (failed || now == resolvedAtScan || !pathInside(now, target)) return std::nullopt;
    std::string_view tool = commandLink;
    tool.remove_prefix(tool.rfind('/') == std::string_view::npos ? 0 : tool.rfind('/') + 1);
    return GuardViolation{.reason = trf(S::guardCommandLinkMoved, {shown(tool)}), .hard = true};
}

OpenFileIndex::OpenFileIndex(std::vector<OpenFile> files) : files_(std::move(files)) {
    std::stable_sort(files_.begin(), files_.end(), byPath);
}

std::vector<GuardViolation> checkGuards(std::string_view owner, const std::string& path,
                                        const std::vector<Proc>& procs, const OpenFileIndex* openFiles,
                                        LiveSafe liveSafe, RecentWriteCheck recentWrite) {
    return checkSorted(owner, path, procs, openFiles ? &openFiles->files() : nullptr, liveSafe, recentWrite);
}

std::vector<GuardViolation> checkGuards(std::string_view owner, const std::string& path,
                                        const std::vector<Proc>& procs,
                                        const std::optional<std::vector<OpenFile>>& openFiles, LiveSafe liveSafe,
                                        RecentWriteCheck recentWrite) {
    if (!openFiles) return checkSorted(owner, path, procs, nullptr, liveSafe, recentWrite);
    // openHomeFiles returns its list sorted; a list built some other way is sorted here rather
    // than searched wrongly.
    if (std::is_sorted(openFiles->begin(), openFiles->end(), byPath))
        return checkSorted(owner, path, procs, &*openFiles, liveSafe, recentWrite);
    OpenFileIndex index(*openFiles);
    return checkSorted(owner, path, procs, &index.files(), liveSafe, recentWrite);
}

}  // namespace kelvor
