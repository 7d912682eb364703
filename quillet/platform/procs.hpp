#pragma once
// The running processes, behind an interface so that a test can present any process table, or
// one that cannot be read. The backends only fetch bytes; proc_text.hpp decodes them.
#include <cstdint>
#include <string>
#include <vector>

#include "quillet/platform/result.hpp"

namespace kelvor {

// One running process, as listed once per run.
struct Proc {
    std::int32_t pid = 0;
    std::int32_t ppid = 0;
    std::string path;          // the executable's full path; "" when it cannot be read
    bool pathDeleted = false;  // the executable was removed or replaced since the process started
    std::string args;          // the arguments joined by blanks; "" for a kernel thread
    std::int64_t uid = -1;     // the user the process runs as; -1 when it cannot be told
};

class ProcessTable {
public:
    virtual ~ProcessTable() = default;

    // Every process the system shows. An Error, never an empty list, when the table itself cannot
    // be read; a process that ends while it is being read is left out.
    virtual Result<std::vector<Proc>> list() = 0;

    // The paths of the files and folders process `pid` holds open or has mapped into memory
    // (sockets, pipes and the like left out). An Error when its table of open files cannot be read
    // (kind notFound once it ended).
    virtual Result<std::vector<std::string>> openFiles(std::int32_t pid) = 0;

    // True when the system hides other people's processes from this one (Linux's /proc mounted
    // with "hidepid" for an unprivileged caller), so that an empty-looking table is not trusted.
    virtual bool othersHidden() = 0;

    // Asks process `pid` to end (SIGTERM). An Error when it is gone or not this user's to stop.
    virtual Result<void> terminate(std::int32_t pid) = 0;

    // The system's process table. Shared and never destroyed.
    static ProcessTable& real();
};

// Forwards every call to another table; a test derives from it and overrides what it changes.
class ProcessTableWrapper : public ProcessTable {
public:
    explicit ProcessTableWrapper(ProcessTable& target) : target_(target) {}
    ProcessTable& target() { return target_; }

    Result<std::vector<Proc>> list() override { return target_.list(); }
    Result<std::vector<std::string>> openFiles(std::int32_t pid) override { return target_.openFiles(pid); }
    bool othersHidden() override { return target_.othersHidden(); }
    Result<void> terminate(std::int32_t pid) override { return target_.terminate(pid); }

private:
    ProcessTable& target_;
};

}  // namespace kelvor
