#include "quillet/platform/procs.hpp"

#include <signal.h>

#include <libproc.h>
#include <sys/proc_info.h>
#include <sys/sysctl.h>

#include <cstring>
#include <vector>

namespace kelvor {

namespace {

// The arguments from the kernel's argument area: argc, the executable path, padding NULs, then
// argc NUL-ended arguments.
std::string argumentsOf(pid_t pid) {
    int request[3] = {CTL_KERN, KERN_PROCARGS2, pid};
    size_t size = 0;
    if (::sysctl(request, 3, nullptr, &size, nullptr, 0) != 0 || size < sizeof(int)) return "";
    std::vector<char> area(size);
    if (::sysctl(request, 3, area.data(), &size, nullptr, 0) != 0 || size < sizeof(int)) return "";
    int count = 0;
    std::memcpy(&count, area.data(), sizeof count);
    size_t at = sizeof count;
    while (at < size && area[at] != '\0') ++at;  // the executable path
    while (at < size && area[at] == '\0') ++at;  // its padding
    std::string args;
    for (int i = 0; i < count && at < size; ++i) {
        size_t end = at;
        while (end < size && area[end] != '\0') ++end;
        if (!args.empty()) args += ' ';
        args.append(area.data() + at, end - at);
        at = end + 1;
    }
    return args;
}

class LibprocTable final : public ProcessTable {
public:
    Result<std::vector<Proc>> list() override {
        int count = ::proc_listallpids(nullptr, 0);
        if (count < 1) return errnoError("read the process table");
        // Room for processes started between the two calls.
        std::vector<pid_t> pids(static_cast<size_t>(count) + 64);
        count = ::proc_listallpids(pids.data(), static_cast<int>(pids.size() * sizeof(pid_t)));
        if (count < 1) return errnoError("read the process table");
        pids.resize(static_cast<size_t>(count));
        std::vector<Proc> procs;
        for (pid_t pid : pids) {
            if (pid <= 0) continue;
            struct proc_bsdinfo info {};
            if (::proc_pidinfo(pid, PROC_PIDTBSDINFO, 0, &info, sizeof info) != sizeof info) continue;
            Proc proc;
            proc.pid = pid;
            proc.ppid = static_cast<std::int32_t>(info.pbi_ppid);
            proc.uid = static_cast<std::int64_t>(info.pbi_uid);
            char path[PROC_PIDPATHINFO_MAXSIZE];
            if (::proc_pidpath(pid, path, sizeof path) > 0) proc.path = path;
            proc.args = argumentsOf(pid);
            procs.push_back(std::move(proc));
        }
        return procs;
    }

    Result<std::vector<std::string>> openFiles(std::int32_t pid) override {
        int size = ::proc_pidinfo(pid, PROC_PIDLISTFDS, 0, nullptr, 0);
        if (size <= 0) return errnoError("read the open files of process " + std::to_string(pid));
        std::vector<struct proc_fdinfo> descriptors(static_cast<size_t>(size) / sizeof(struct proc_fdinfo));
        size = ::proc_pidinfo(pid, PROC_PIDLISTFDS, 0, descriptors.data(),
                              static_cast<int>(descriptors.size() * sizeof(struct proc_fdinfo)));
        if (size <= 0) return errnoError("read the open files of process " + std::to_string(pid));
        descriptors.resize(static_cast<size_t>(size) / sizeof(struct proc_fdinfo));
        std::vector<std::string> paths;
        for (const struct proc_fdinfo& descriptor : descriptors) {
            if (descriptor.proc_fdtype != PROX_FDTYPE_VNODE) continue;
            struct vnode_fdinfowithpath info {};
            if (::proc_pidfdinfo(pid, descriptor.proc_fd, PROC_PIDFDVNODEPATHINFO, &info, sizeof info) != sizeof info)
                continue;
            paths.emplace_back(info.pvip.vip_path);
        }
        return paths;
    }

    // macOS lists every process to every user; what it withholds is details, never entries.
    bool othersHidden() override { return false; }

    Result<void> terminate(std::int32_t pid) override {
        if (::kill(pid, SIGTERM) != 0) return errnoError("ask process " + std::to_string(pid) + " to quit");
        return {};
    }
};

}  // namespace

ProcessTable& ProcessTable::real() {
    static auto* table = new LibprocTable();
    return *table;
}

}  // namespace kelvor
