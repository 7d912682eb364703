#pragma once
// A memory probe a test presents: any snapshot, and per pid what it holds or why it cannot be read.
#include <cerrno>
#include <map>

#include "quillet/platform/memory_probe.hpp"

namespace kelvor::testing {

struct FakeMemoryProbe : MemoryProbe {
    MemorySnapshot facts;
    std::map<std::int32_t, ProcessMemory> processes;  // a pid missing here has ended
    std::map<std::int32_t, int> failures;             // errno for a pid that cannot be read

    MemorySnapshot snapshot() override { return facts; }
    Result<ProcessMemory> processMemory(std::int32_t pid) override {
        if (auto failure = failures.find(pid); failure != failures.end()) return Error{failure->second, "read memory"};
        auto found = processes.find(pid);
        if (found == processes.end()) return Error{ENOENT, "read memory"};
        return found->second;
    }
};

}  // namespace kelvor::testing
