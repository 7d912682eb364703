#pragma once
// What the automation tests share: aged stores as hits, a quiet process table, a memory probe, a
// plan store on a clock the test moves, and requests to the server in process or through the mode.
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "quillet/automation/clean_tool.hpp"
#include "quillet/platform/memory_probe.hpp"
#include "tests/guards/fake_process_table.hpp"
#include "tests/support/aged_tree.hpp"
#include "tests/support/run_program.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor::testing {

// A store of `bytes` bytes at home/<name>, aged, as a hit of a rule of the given kind.
inline Hit storeHit(const TempHome& home, const std::string& name, Tier tier, bool verified, Burden burden,
                    std::uint64_t bytes, const std::string& owner = "Tool") {
    writeFile(home / (name + "/data"), std::string(bytes, 'x'));
    ageTree(home / name);
    Hit hit;
    hit.rule = Rule{.owner = owner, .component = name, .tier = tier, .verified = verified, .burden = burden};
    hit.path = home / name;
    hit.stat.bytes = bytes;
    return hit;
}

// A table where nothing but init runs, so no owner guard holds a row.
inline FakeProcessTable quietTable() {
    FakeProcessTable table;
    table.procs = std::vector<Proc>{{.pid = 1, .ppid = 0, .path = "/sbin/init", .args = "/sbin/init"}};
    return table;
}

// A memory probe a test presents: any snapshot, and per pid what it holds or why it cannot be read.
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

// Plans and executes clean plans against a quiet table and a store on a manual clock.
struct CleanBench {
    FakeProcessTable table = quietTable();
    ManualClock clock;
    PlanStore store{clock};

    ToolOutcome plan(const std::vector<Hit>& hits, int level, Disposal disposal) {
        return cleanPlanResponse(hits, {}, level, disposal, store, table);
    }
    ToolOutcome execute(const ToolOutcome& planned) {
        PlanTake taken = store.take(planned.payload["plan_token"], PlanKind::clean);
        if (!taken.plan) return ToolOutcome{Json{{"refused", taken.refusal}}, true};
        return cleanExecute(*taken.plan, table);
    }
};

inline std::string request(const Json& id, std::string_view method, Json params = Json::object()) {
    return Json{{"jsonrpc", "2.0"}, {"id", id}, {"method", method}, {"params", std::move(params)}}.dump();
}

// Sends one tools/call to `kelvor --mode mcp` and returns every line it wrote, the answer last.
inline std::vector<Json> callThroughMode(const Json& params) {
    RunOutput run = runProgram({KELVOR_BINARY, "--mode", "mcp"}, request(1, "tools/call", params) + "\n");
    std::vector<Json> lines;
    std::istringstream out(run.out);
    for (std::string line; std::getline(out, line);) lines.push_back(Json::parse(line, nullptr, false));
    if (run.status != 0 || lines.empty()) lines.push_back(Json{{"status", run.status}, {"err", run.err}});
    return lines;
}

// The payload of a tools/call answer.
inline Json toolPayload(const Json& answer) {
    return Json::parse(answer.at("result").at("content").at(0).at("text").get<std::string>());
}

}  // namespace kelvor::testing
