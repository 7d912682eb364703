// The process list and the open files under the home folder, gathered once per run.
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <tuple>

#include "quillet/guards/guards.hpp"
#include "quillet/i18n/text.hpp"
#include "quillet/platform/home.hpp"
#include "quillet/platform/our_spawns.hpp"

namespace kelvor {

namespace {

std::string_view baseName(std::string_view path) {
    size_t slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

std::string_view firstWord(std::string_view args) { return args.substr(0, args.find(' ')); }

// Kelvor itself in any of its forms: this process, a kelvor executable, or a command line that runs
// kelvor in one of its modes (how the desktop app and the automation server start it).
bool isOurOwn(const Proc& proc) {
    if (proc.pid == static_cast<std::int32_t>(::getpid())) return true;
    if (OurSpawns::contains(proc.pid)) return true;
    if (baseName(proc.path) == "kelvor") return true;
    return baseName(firstWord(proc.args)) == "kelvor" && proc.args.find(" --mode") != std::string::npos;
}

}  // namespace

std::optional<std::vector<Proc>> runningProcessesChecked(ProcessTable& table) {
    Result<std::vector<Proc>> listed = table.list();
    // An empty table is as untrustworthy as an unreadable one: at least this process must show.
    if (!listed || listed->empty()) return std::nullopt;
    std::vector<Proc> procs = std::move(listed.value());
    std::erase_if(procs, isOurOwn);
    return procs;
}

std::string cannotSeeProcessesNote() {
    return trf(S::guardCannotSeeProcesses);
}

std::optional<std::string> hiddenProcessesNote() { return hiddenProcessesNote(ProcessTable::real()); }

std::optional<std::string> hiddenProcessesNote(ProcessTable& table) {
    bool hidden = table.othersHidden();
    // A /proc that hides others may not say so in its options (a gid exemption, a new kernel's
    // spelling); the init process, never the person's own, is the telltale.
    if (!hidden && ::geteuid() != 0) {
        Result<std::vector<Proc>> listed = table.list();
        hidden = listed && std::none_of(listed->begin(), listed->end(), [](const Proc& p) { return p.pid == 1; });
    }
    if (!hidden) return std::nullopt;
    return trf(S::guardOthersHidden);
}

std::vector<OpenFile> openHomeFiles(const std::vector<Proc>& procs, ProcessTable& table) {
    std::string home = homeDir();
    while (home.size() > 1 && home.back() == '/') home.pop_back();
    if (home.empty() || home == "/") return {};
    const std::string prefix = home + "/";
    // The kernel names open files by their real path; a home reached through a link ("/home" ->
    // "/usr/home") is matched in that form too, and each such file is kept under both names so
    // that a target written either way finds it.
    std::error_code failed;
    std::string real = std::filesystem::canonical(home, failed).string();
    const std::string realPrefix = failed || real == home || real == "/" ? std::string() : real + "/";
    std::vector<OpenFile> files;
    for (const Proc& proc : procs) {
        Result<std::vector<std::string>> open = table.openFiles(proc.pid);
        if (!open) continue;
        for (const std::string& path : *open) {
            if (path.starts_with(prefix)) {
                files.push_back({proc.pid, path});
            } else if (!realPrefix.empty() && path.starts_with(realPrefix)) {
                files.push_back({proc.pid, path});
                files.push_back({proc.pid, prefix + path.substr(realPrefix.size())});
            }
        }
    }
    std::sort(files.begin(), files.end(),
              [](const OpenFile& a, const OpenFile& b) { return std::tie(a.path, a.pid) < std::tie(b.path, b.pid); });
    files.erase(std::unique(files.begin(), files.end(),
                            [](const OpenFile& a, const OpenFile& b) { return a.pid == b.pid && a.path == b.path; }),
                files.end());
    return files;
}

}  // namespace kelvor
