#pragma once
// A process table a guards test presents: any list, any open files, or a table that cannot be read.
#include <algorithm>
#include <cerrno>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "quillet/platform/procs.hpp"

namespace kelvor::testing {

struct FakeProcessTable : ProcessTable {
    std::optional<std::vector<Proc>> procs = std::vector<Proc>{};  // none: the table cannot be read
    std::map<std::int32_t, std::vector<std::string>> open;         // a pid missing here cannot be read
    bool hidden = false;
    std::vector<std::int32_t> terminated;
    std::set<std::int32_t> endOnTerminate;  // these leave the list when asked to quit

    Result<std::vector<Proc>> list() override {
        if (!procs) return Error{EACCES, "read the process table"};
        return *procs;
    }
    Result<std::vector<std::string>> openFiles(std::int32_t pid) override {
        auto found = open.find(pid);
        if (found == open.end()) return Error{EACCES, "read the open files"};
        return found->second;
    }
    bool othersHidden() override { return hidden; }
    Result<void> terminate(std::int32_t pid) override {
        terminated.push_back(pid);
        if (endOnTerminate.contains(pid) && procs)
            std::erase_if(*procs, [pid](const Proc& p) { return p.pid == pid; });
        return {};
    }
};

}  // namespace kelvor::testing
