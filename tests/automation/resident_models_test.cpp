#include <gtest/gtest.h>

#include <algorithm>

#include "quillet/automation/resident_models.hpp"
#include "tests/automation/automation_fixture.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

constexpr std::uint64_t MB = 1000 * 1000;

TEST(ResidentModels, WeightsAreToldByExtensionOrBySizeButLibrariesNever) {
    struct Case {
        const char* path;
        std::uint64_t bytes;
        bool model;
    };
    const Case cases[] = {
        {"/m/qwen2.5-7b-q4_k_m.gguf", 4 * MB, true},
        {"/m/model-00001-of-00004.safetensors", 2 * MB, true},
        {"/m/pytorch_model.bin", 1 * MB, true},
        {"/m/consolidated.pth", 1 * MB, true},
        // Ollama's blobs have no extension: only their size tells.
        {"/usr/share/ollama/.ollama/models/blobs/sha256-6a0746a1ec1a", 4'700 * MB, true},
        {"/usr/share/ollama/.ollama/models/blobs/sha256-966de95ca8a6", 1'400, false},
        {"/usr/lib/x86_64-linux-gnu/libcublasLt.so.12.4.5.8", 500 * MB, false},
        {"/usr/lib/ollama/libggml-cuda.so", 300 * MB, false},
        {"/System/Library/Frameworks/Metal.framework/libMetal.dylib", 120 * MB, false},
        {"/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf", 700'000, false},
        {"/usr/lib/locale/locale-archive", 3 * MB, false},
        {"/m/.gguf", 1 * MB, false},
    };
    for (const Case& each : cases)
        EXPECT_EQ(isModelFile(MappedFile{each.path, each.bytes}), each.model) << each.path;
    // A server built with debugging symbols maps a large program of its own.
    EXPECT_FALSE(isModelFile(MappedFile{"/opt/llama.cpp/build/bin/llama-server", 300 * MB, true}));
}

TEST(ResidentModels, ServersAreMeasuredAndListedLargestFirst) {
    testing::FakeProcessTable table;
    table.procs = std::vector<Proc>{
        {.pid = 10, .path = "", .args = "ollama serve"}, {.pid = 11, .path = "", .args = "/usr/bin/bash"},
        {.pid = 12, .path = "", .args = "llama-server -m a.gguf"},
        {.pid = 13, .path = "", .args = "ollama runner --model x"}, {.pid = 14, .path = "", .args = "vllm serve Qwen"}};
    testing::FakeMemoryProbe probe;
    probe.processes[10] = ProcessMemory{80 * MB, {{"/usr/lib/ollama/libggml-cuda.so", 300 * MB}}};
    probe.processes[11] = ProcessMemory{5 * MB, {}};
    probe.processes[12] = ProcessMemory{900 * MB, {{"/m/a.gguf", 4'000 * MB}, {"/usr/lib/libc.so.6", 2 * MB}}};
    // 13 ended between the listing and the measuring; 14 belongs to someone this user may not read.
    probe.failures[14] = EACCES;

    RunningModelServers found = findRunningModelServers(table, probe);
    EXPECT_FALSE(found.tableUnreadable);
    ASSERT_EQ(found.servers.size(), 3u);
    EXPECT_EQ(found.servers[0].proc.pid, 12);
    ASSERT_EQ(found.servers[0].modelFiles.size(), 1u);
    EXPECT_EQ(found.servers[0].modelFiles[0].path, "/m/a.gguf");
    EXPECT_EQ(found.servers[1].proc.pid, 10);
    EXPECT_TRUE(found.servers[1].modelFiles.empty()) << "a GPU library is not weights";
    EXPECT_EQ(found.servers[2].proc.pid, 14);
    EXPECT_TRUE(found.servers[2].memoryUnreadable);
}

TEST(ResidentModels, OllamaIsToldToStopTheModelsItsManifestsNameAndNoUnsafeName) {
    testing::TempHome home;
    const std::string models = home / "ollama/models";
    const std::string digest(64, 'c');
    const std::string blob = models + "/blobs/sha256-" + digest;
    testing::writeFile(blob, "GGUF weights");
    const std::string manifest = R"({"layers":[{"digest":"sha256:)" + digest + R"("}]})";
    testing::writeFile(models + "/manifests/registry.ollama.ai/library/llama3.2/3b", manifest);
    testing::writeFile(models + "/manifests/registry.ollama.ai/ana/helper/latest", manifest);
    // A folder name is anyone's to choose; pasted into a shell it would run.
    testing::writeFile(models + "/manifests/registry.ollama.ai/library/$(reboot)/latest", manifest);
    testing::writeFile(models + "/manifests/registry.ollama.ai/library/--help/latest", manifest);

    EXPECT_EQ(ollamaModelNames(blob), (std::vector<std::string>{"ana/helper:latest", "llama3.2:3b"}));
    EXPECT_TRUE(ollamaModelNames(models + "/elsewhere/sha256-" + digest).empty());

    testing::FakeProcessTable table;
    table.procs = std::vector<Proc>{{.pid = 20, .path = "", .args = "/usr/bin/ollama runner --model " + blob}};
    testing::FakeMemoryProbe probe;
    probe.processes[20] = ProcessMemory{2'000 * MB, {{blob, 2'000 * MB}}};
    RunningModelServers found = findRunningModelServers(table, probe);
    ASSERT_EQ(found.servers.size(), 1u);
    const std::vector<std::string>& commands = found.servers[0].stopCommands;
    EXPECT_NE(std::find(commands.begin(), commands.end(), "ollama stop llama3.2:3b"), commands.end());
    EXPECT_NE(std::find(commands.begin(), commands.end(), "ollama stop ana/helper:latest"), commands.end());
    for (const std::string& command : commands) {
        EXPECT_EQ(command.find("reboot"), std::string::npos) << command;
        EXPECT_EQ(command.find("<model>"), std::string::npos) << command;
    }
}

}  // namespace
}  // namespace kelvor
