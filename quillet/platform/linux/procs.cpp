#include "quillet/platform/procs.hpp"

#include <dirent.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <charconv>

#include "quillet/platform/proc_text.hpp"
#include "quillet/records/file_bytes.hpp"

namespace kelvor {

namespace {

std::optional<std::string> linkTarget(const std::string& link) {
    std::string target(4096, '\0');
    ssize_t length = ::readlink(link.c_str(), target.data(), target.size());
    if (length < 0) return std::nullopt;
    target.resize(static_cast<size_t>(length));
    return target;
}

class ProcFileSystemTable final : public ProcessTable {
public:
    Result<std::vector<Proc>> list() override {
        DIR* folder = ::opendir("/proc");
        if (!folder) return errnoError("read the process table /proc");
        std::vector<Proc> procs;
        while (dirent* entry = ::readdir(folder)) {
            std::string_view name = entry->d_name;
            std::int32_t pid = 0;
            auto [end, failure] = std::from_chars(name.data(), name.data() + name.size(), pid);
            if (failure != std::errc() || end != name.data() + name.size() || pid <= 0) continue;
            std::string base = "/proc/" + std::string(name);
            // A process that ended since the listing has no stat any more: it is simply gone.
            Result<std::string> stat = readWholeFile(base + "/stat");
            if (!stat) continue;
            std::optional<std::int32_t> parent = parentPidFromStat(*stat);
            if (!parent) continue;
            Proc proc;
            proc.pid = pid;
            proc.ppid = *parent;
            struct stat owner {};
            if (::stat(base.c_str(), &owner) == 0) proc.uid = owner.st_uid;
            // Another user's executable link is unreadable without privilege; the rest still tells.
            if (std::optional<std::string> target = linkTarget(base + "/exe")) {
                ExecutablePath executable = executableFromLink(*target);
                proc.path = std::move(executable.path);
                proc.pathDeleted = executable.deleted;
            }
            if (Result<std::string> cmdline = readWholeFile(base + "/cmdline")) proc.args = argsFromCmdline(*cmdline);
            procs.push_back(std::move(proc));
        }
        ::closedir(folder);
        return procs;
    }

    Result<std::vector<std::string>> openFiles(std::int32_t pid) override {
        const std::string folderPath = "/proc/" + std::to_string(pid) + "/fd";
        DIR* folder = ::opendir(folderPath.c_str());
        if (!folder) return errnoError("read the open files of process " + std::to_string(pid));
        std::vector<std::string> paths;
        while (dirent* entry = ::readdir(folder)) {
            if (entry->d_name[0] == '.') continue;
            // A descriptor closed since the listing has no link any more.
            std::optional<std::string> target = linkTarget(folderPath + "/" + entry->d_name);
            if (!target) continue;
            if (std::optional<std::string> path = openFileFromLink(*target)) paths.push_back(std::move(*path));
        }
        ::closedir(folder);
        // A model server reads its weights through a memory map and may hold no descriptor at all.
        if (Result<std::string> maps = readWholeFile("/proc/" + std::to_string(pid) + "/maps")) {
            std::string_view text = *maps;
            std::string previous;
            while (!text.empty()) {
                size_t end = text.find('\n');
                std::string_view line = text.substr(0, end);
                text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
                std::optional<std::string> path = mappedFileFromMapsLine(line);
                // One mapped file shows as several adjacent regions; keep it once.
                if (!path || *path == previous) continue;
                previous = *path;
                paths.push_back(std::move(*path));
            }
        }
        return paths;
    }

    bool othersHidden() override {
        if (::geteuid() == 0) return false;
        Result<std::string> mountinfo = readWholeFile("/proc/self/mountinfo");
        return mountinfo && procMountHidesOthers(*mountinfo);
    }

    Result<void> terminate(std::int32_t pid) override {
        if (::kill(pid, SIGTERM) != 0) return errnoError("ask process " + std::to_string(pid) + " to quit");
        return {};
    }
};

}  // namespace

ProcessTable& ProcessTable::real() {
    static auto* table = new ProcFileSystemTable();
    return *table;
}

}  // namespace kelvor
