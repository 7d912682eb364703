// The memory report over a probe and process table the test presents, and once through the mode
// with a real process that maps its weights.
#include <gtest/gtest.h>
#include <unistd.h>

#include "quillet/automation/tool_memory.hpp"
#include "quillet/i18n/text.hpp"
#include "tests/automation/automation_fixture.hpp"
#include "tests/support/model_server_stand_in.hpp"

namespace kelvor {
namespace {

constexpr std::uint64_t GB = 1000ull * 1000 * 1000;

bool says(const Json& payload, const Sentence& sentence) {
    return payload["for_the_assistant"].get<std::string>().find(trf(sentence)) != std::string::npos;
}

TEST(ToolMemory, ReportsTheVerdictTheFiguresAndEachServerWithItsStopCommands) {
    testing::FakeMemoryProbe probe;
    probe.facts.verdict = PressureVerdict::critical;
    probe.facts.availableBytes = 3 * GB;
    probe.facts.compressor = CompressorKind::zram;
    testing::FakeProcessTable table;
    table.procs = std::vector<Proc>{
        {.pid = 300, .path = "/usr/local/bin/ollama", .args = "/usr/local/bin/ollama serve"},
        {.pid = 301, .path = "/usr/local/bin/ollama", .args = "/usr/local/bin/ollama runner --model /b/sha256-ab"}};
    probe.processes[300] = ProcessMemory{120'000'000, {}};
    probe.processes[301] = ProcessMemory{9 * GB, {{"/b/sha256-ab", 8 * GB}, {"/usr/lib/libm.so.6", 900'000}}};

    Json payload = toolMemory(probe, table);
    EXPECT_EQ(payload["pressure"]["verdict"], "critical");
    EXPECT_EQ(payload["memory"]["available_human"], "3.0 GB");
    EXPECT_EQ(payload["compressed"]["kind"], "zram");

    ASSERT_EQ(payload["model_servers"].size(), 2u);
    const Json& runner = payload["model_servers"][0];
    EXPECT_EQ(runner["pid"], 301);
    EXPECT_EQ(runner["server"], "Ollama");
    EXPECT_EQ(runner["resident_human"], "9.0 GB");
    ASSERT_EQ(runner["mapped_model_files"].size(), 1u);
    EXPECT_EQ(runner["mapped_model_files"][0]["path"], "/b/sha256-ab");
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
        table.procs = std::vector<Proc>{{.pid = 5, .path = "/usr/bin/llama-server", .args = each.args}};
        probe.processes[5] = ProcessMemory{};
        Json payload = toolMemory(probe, table);
        ASSERT_EQ(payload["model_servers"].size(), 1u) << each.args;
        EXPECT_EQ(payload["model_servers"][0]["command_line"], each.shown) << each.args;
    }
}

TEST(ToolMemory, WhatCannotBeKnownIsSaidAndNeverShownAsZero) {
    testing::FakeMemoryProbe probe;  // an old kernel: no pressure file, nothing but the process table
    testing::FakeProcessTable table;
    table.procs = std::vector<Proc>{{.pid = 7, .path = "/usr/bin/llama-server", .args = "llama-server -m x.gguf"}};
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

TEST(ToolMemoryThroughTheServer, NamesARunningModelServerWithItsWeightsResident) {
    testing::TempHome home;
    const std::string weights = home / "models/phi-3-mini-q4.gguf";
    constexpr std::uint64_t WEIGHTS_BYTES = 64ull << 20;
    testing::writeWeightsFile(weights, WEIGHTS_BYTES);
    testing::ModelServerStandIn server(home / "llama.cpp/build/bin", "llama-server", weights, "-m " + weights);
    ASSERT_GT(server.pid(), 0) << "the stand-in did not map its weights";

    std::vector<Json> lines = testing::callThroughMode(Json{{"name", "kelvor_memory"}, {"arguments", Json::object()}});
    ASSERT_EQ(lines.back()["result"]["isError"], false) << lines.back();
    Json payload = testing::toolPayload(lines.back());
    EXPECT_NE(payload["pressure"]["verdict"], nullptr);
    const Json* mine = nullptr;
    for (const Json& each : payload["model_servers"]) {
        if (each["pid"] == server.pid()) mine = &each;
        EXPECT_NE(each["pid"], ::getpid()) << "this test maps no weights and is no server";
    }
    ASSERT_NE(mine, nullptr) << payload.dump(1);
    EXPECT_EQ((*mine)["server"], "llama.cpp server");
    EXPECT_EQ((*mine)["executable"], server.executable());
    EXPECT_GE((*mine)["resident_bytes"].get<std::uint64_t>(), WEIGHTS_BYTES) << "every page was touched";
    ASSERT_EQ((*mine)["mapped_model_files"].size(), 1u);
    EXPECT_EQ((*mine)["mapped_model_files"][0]["path"], weights);
    EXPECT_EQ((*mine)["mapped_model_files"][0]["bytes"], WEIGHTS_BYTES);
}

}  // namespace
}  // namespace kelvor
