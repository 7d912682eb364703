#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <sstream>

#include "quillet/automation/tools.hpp"
#include "tests/support/run_program.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

std::optional<std::string> findOnPath(const std::string& program) {
    const char* path = std::getenv("PATH");
    std::istringstream folders(path ? path : "/usr/local/bin:/usr/bin:/bin");
    for (std::string folder; std::getline(folders, folder, ':');) {
        std::string candidate = (folder.empty() ? "." : folder) + "/" + program;
        if (::access(candidate.c_str(), X_OK) == 0) return candidate;
    }
    return std::nullopt;
}

// The official MCP TypeScript SDK client, installed by tools/setup.sh from the lock file beside
// client.mjs, starts the server as an assistant would and checks what it gets.
TEST(McpSdkClient, TheOfficialClientConnectsListsValidatesAndCallsEveryTool) {
    std::optional<std::string> node = findOnPath("node");
    if (!node) GTEST_SKIP() << "node is not installed, so the official MCP client cannot run here";
    const std::string folder = MCP_CLIENT_DIR;
    ASSERT_TRUE(std::filesystem::exists(folder + "/node_modules/@modelcontextprotocol/sdk"))
        << "the MCP SDK is not installed: run tools/setup.sh (npm ci in " << folder << ")";
    testing::TempHome home;
    testing::RunOutput run = testing::runProgram({*node, folder + "/client.mjs", KELVOR_BINARY}, "");
    EXPECT_EQ(run.status, 0) << run.err << run.out;
    EXPECT_EQ(run.err, "");
    std::string last = run.out.substr(0, run.out.find('\n'));
    Json summary = Json::parse(last, nullptr, false);
    ASSERT_TRUE(summary.is_object()) << run.out;
    EXPECT_EQ(summary["ok"], true) << run.out;
    EXPECT_TRUE(summary["instructions"].get<bool>());
    ASSERT_EQ(summary["tools"].size(), MCP_TOOLS.size()) << run.out;
    for (std::size_t i = 0; i < MCP_TOOLS.size(); ++i) EXPECT_EQ(summary["tools"][i], MCP_TOOLS[i].name);
    EXPECT_EQ(summary["called"], MCP_TOOLS.size());
    EXPECT_FALSE(summary.contains("serverStderr")) << summary["serverStderr"];
}

// What --mode mcp-install writes is what an assistant starts: the client, given exactly the
// command and arguments of the Cursor entry, reaches the server and lists its tools.
TEST(McpSdkClient, TheEntryMcpInstallWritesStartsAWorkingServer) {
    std::optional<std::string> node = findOnPath("node");
    if (!node) GTEST_SKIP() << "node is not installed, so the official MCP client cannot run here";
    testing::TempHome home;
    std::filesystem::create_directories(home / ".cursor");
    testing::RunOutput installed = testing::runProgram({KELVOR_BINARY, "--mode", "mcp-install"}, "");
    ASSERT_EQ(installed.status, 0) << installed.out << installed.err;
    Json entry = Json::parse(testing::readFile(home / ".cursor/mcp.json"))["mcpServers"]["kelvor"];
    std::vector<std::string> argv = {*node, std::string(MCP_CLIENT_DIR) + "/client.mjs",
                                     entry["command"].get<std::string>()};
    for (const Json& word : entry["args"]) argv.push_back(word.get<std::string>());
    testing::RunOutput run = testing::runProgram(argv, "");
    EXPECT_EQ(run.status, 0) << run.err << run.out;
    Json summary = Json::parse(run.out.substr(0, run.out.find('\n')), nullptr, false);
    ASSERT_TRUE(summary.is_object()) << run.out;
    EXPECT_EQ(summary["ok"], true) << run.out;
    EXPECT_EQ(summary["tools"].size(), MCP_TOOLS.size());
}

}  // namespace
}  // namespace kelvor
