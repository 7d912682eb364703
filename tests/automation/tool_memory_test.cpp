#include <gtest/gtest.h>

#include <sstream>

#include "quillet/automation/tool_memory.hpp"
#include "quillet/i18n/text.hpp"
#include "tests/guards/fake_process_table.hpp"
#include "tests/automation/fake_memory_probe.hpp"
#include "tests/support/model_server_stand_in.hpp"
#include "tests/support/run_program.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

constexpr std::uint64_t GB = 1000ull * 1000 * 1000;

bool says(const Json& payload, const Sentence& sentence) {
    return payload["for_the_assistant"].get<std::string>().find(trf(sentence)) != std::string::npos;
}

Proc process(std::int32_t pid, std::string path, std::string args) {
    Proc proc;
    proc.pid = pid;
    proc.path = std::move(path);
    proc.args = std::move(args);
    return proc;
}

TEST(ToolMemory, ReportsTheVerdictTheFiguresAndEachServerWithItsStopCommands) {
    testing::FakeMemoryProbe probe;
    probe.facts.verdict = PressureVerdict::critical;
    probe.facts.someAverage10 = 55.5;
    probe.facts.fullAverage10 = 12.0;
    probe.facts.totalBytes = 32 * GB;
    probe.facts.availableBytes = 3 * GB;
    probe.facts.swapTotalBytes = 8 * GB;
    probe.facts.swapUsedBytes = 5 * GB;
    probe.facts.compressor = CompressorKind::zram;
    probe.facts.compressedBytes = 1 * GB;
    probe.facts.compressedOriginalBytes = 3 * GB;
    testing::FakeProcessTable table;
    table.procs = std::vector<Proc>{process(300, "/usr/local/bin/ollama", "/usr/local/bin/ollama serve"),
                                    process(301, "/usr/local/bin/ollama", "/usr/local/bin/ollama runner --model /b/sha256-ab")};
    probe.processes[300] = ProcessMemory{120'000'000, {}};
    probe.processes[301] = ProcessMemory{9 * GB, {{"/b/sha256-ab", 8 * GB}, {"/usr/lib/libm.so.6", 900'000}}};

    Json payload = toolMemory(probe, table);
    EXPECT_EQ(payload["pressure"]["verdict"], "critical");
    EXPECT_EQ(payload["pressure"]["full_avg10_percent"], 12.0);
    EXPECT_EQ(payload["memory"]["available_bytes"], 3 * GB);
    EXPECT_EQ(payload["memory"]["available_human"], "3.0 GB");
    EXPECT_EQ(payload["swap"]["used_bytes"], 5 * GB);
    EXPECT_EQ(payload["compressed"]["kind"], "zram");
    EXPECT_EQ(payload["compressed"]["holds_bytes"], 3 * GB);

    ASSERT_EQ(payload["model_servers"].size(), 2u);
    const Json& runner = payload["model_servers"][0];
    EXPECT_EQ(runner["pid"], 301);
    EXPECT_EQ(runner["server"], "Ollama");
    EXPECT_EQ(runner["resident_bytes"], 9 * GB);
    EXPECT_EQ(runner["resident_human"], "9.0 GB");
    ASSERT_EQ(runner["mapped_model_files"].size(), 1u);
    EXPECT_EQ(runner["mapped_model_files"][0]["path"], "/b/sha256-ab");
    EXPECT_EQ(runner["stop_commands"].back(), "kill 301");
    EXPECT_EQ(payload["model_servers_resident_bytes"], 9 * GB + 120'000'000);
    EXPECT_TRUE(says(payload, S::memoryBriefing));
    EXPECT_TRUE(says(payload, S::memoryServersAdvice));
    EXPECT_FALSE(says(payload, S::memoryNoVerdict));
}

TEST(ToolMemory, KeysAndTokensOnACommandLineAreNotPassedOn) {
    struct Case {
        const char* args;
        const char* shown;
    };
    const Case cases[] = {
        {"llama-server -m a.gguf --api-key sk-live-123 --port 8080", "llama-server -m a.gguf --api-key <hidden> --port 8080"},
        {"vllm serve Qwen --API-KEY=abc --hf-token hf_xyz", "vllm serve Qwen --API-KEY=<hidden> --hf-token <hidden>"},
        {"llama-server --api-key", "llama-server --api-key"},
        {"llama-server  -m  b.gguf", "llama-server  -m  b.gguf"},
    };
    for (const Case& each : cases) {
        testing::FakeMemoryProbe probe;
        testing::FakeProcessTable table;
        table.procs = std::vector<Proc>{process(5, "/usr/bin/llama-server", each.args)};
        probe.processes[5] = ProcessMemory{};
        Json payload = toolMemory(probe, table);
        ASSERT_EQ(payload["model_servers"].size(), 1u) << each.args;
        EXPECT_EQ(payload["model_servers"][0]["command_line"], each.shown) << each.args;
    }
}

TEST(ToolMemory, WhatCannotBeKnownIsSaidAndNeverShownAsZero) {
    testing::FakeMemoryProbe probe;  // an old kernel: no pressure file, nothing but the process table
    testing::FakeProcessTable table;
    table.procs = std::vector<Proc>{process(7, "/usr/bin/llama-server", "llama-server -m x.gguf")};
    probe.failures[7] = EACCES;
    Json payload = toolMemory(probe, table);
    EXPECT_EQ(payload["pressure"]["verdict"], "unknown");
    EXPECT_TRUE(payload["memory"]["total_bytes"].is_null());
    EXPECT_TRUE(payload["swap"]["used_bytes"].is_null());
    EXPECT_TRUE(payload["model_servers"][0]["resident_bytes"].is_null());
    EXPECT_EQ(payload["model_servers"][0]["mapped_files_unreadable"], true);
    EXPECT_TRUE(says(payload, S::memoryNoVerdict));

    table.procs.reset();
    payload = toolMemory(probe, table);
    EXPECT_EQ(payload["process_table_unreadable"], true);
    EXPECT_TRUE(says(payload, S::memoryProcessesUnreadable));
    EXPECT_FALSE(says(payload, S::memoryNoServers)) << "an unread table is not an empty one";

    table.procs = std::vector<Proc>{};
    payload = toolMemory(probe, table);
    EXPECT_TRUE(says(payload, S::memoryNoServers));
    EXPECT_FALSE(says(payload, S::memoryOthersHidden));

    // An empty-looking table that hides other users' processes is not trusted as empty.
    table.hidden = true;
    payload = toolMemory(probe, table);
    EXPECT_EQ(payload["other_users_processes_hidden"], true);
    EXPECT_TRUE(says(payload, S::memoryOthersHidden));
}

TEST(ToolMemoryThroughTheServer, NamesARunningModelServerWithItsResidentSize) {
    testing::TempHome home;
    const std::string weights = home / "models/phi-3-mini-q4.gguf";
    constexpr std::uint64_t WEIGHTS_BYTES = 64ull << 20;
    testing::writeWeightsFile(weights, WEIGHTS_BYTES);
    testing::ModelServerStandIn server(home / "llama.cpp/build/bin", "llama-server", weights, "-m " + weights);
    ASSERT_GT(server.pid(), 0);

    const std::string call =
        R"({"jsonrpc":"2.0","id":1,"method":"tools/call","params":{"name":"kelvor_memory","arguments":{}}})";
    testing::RunOutput run = testing::runProgram({KELVOR_BINARY, "--mode", "mcp"}, call + "\n");
    ASSERT_EQ(run.status, 0) << run.err;
    std::istringstream lines(run.out);
    std::string line;
    ASSERT_TRUE(std::getline(lines, line)) << run.out;
    Json answer = Json::parse(line);
    ASSERT_EQ(answer["result"]["isError"], false) << line;
    Json payload = Json::parse(answer["result"]["content"][0]["text"].get<std::string>());
    const Json* mine = nullptr;
    for (const Json& each : payload["model_servers"])
        if (each["pid"] == server.pid()) mine = &each;
    ASSERT_NE(mine, nullptr) << payload.dump(1);
    EXPECT_EQ((*mine)["server"], "llama.cpp server");
    EXPECT_GE((*mine)["resident_bytes"].get<std::uint64_t>(), WEIGHTS_BYTES);
    ASSERT_EQ((*mine)["mapped_model_files"].size(), 1u);
    EXPECT_EQ((*mine)["mapped_model_files"][0]["path"], weights);
    EXPECT_EQ((*mine)["stop_commands"].back(), "kill " + std::to_string(server.pid()));
    EXPECT_NE(payload["pressure"]["verdict"], nullptr);
}

}  // namespace
}  // namespace kelvor
