// The official MCP TypeScript SDK client (installed by tools/setup.sh from the lock file beside
// client.mjs) starts the server as an assistant would and checks what it gets.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <map>
#include <optional>
#include <thread>

#include "quillet/automation/tools.hpp"
#include "quillet/recovery/restore_command.hpp"
#include "tests/automation/automation_fixture.hpp"
#include "tests/support/run_kelvor.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using namespace testing;

class McpSdkClient : public ::testing::Test {
protected:
    void SetUp() override {
        std::optional<std::string> found = findOnPath("node");
        if (!found) GTEST_SKIP() << "node is not installed, so the official MCP client cannot run here";
        node = *found;
        ASSERT_TRUE(fs::exists(std::string(MCP_CLIENT_DIR) + "/node_modules/@modelcontextprotocol/sdk"))
            << "the MCP SDK is not installed: run tools/setup.sh (npm ci in " << MCP_CLIENT_DIR << ")";
    }
    std::string node;
    TempHome home;
};

// What --mode mcp-install writes is what an assistant starts: given exactly the command and
// arguments of the Cursor entry, the client connects, lists and validates every tool, and calls each.
TEST_F(McpSdkClient, TheEntryMcpInstallWritesStartsAServerThatAnswersEveryTool) {
    fs::create_directories(home / ".cursor");
    RunOutput installed = runProgram({KELVOR_BINARY, "--mode", "mcp-install"}, "");
    ASSERT_EQ(installed.status, 0) << installed.out << installed.err;
    Json entry = Json::parse(readFile(home / ".cursor/mcp.json"))["mcpServers"]["kelvor"];
    std::vector<std::string> argv = {node, std::string(MCP_CLIENT_DIR) + "/client.mjs", entry["command"]};
    for (const Json& word : entry["args"]) argv.push_back(word.get<std::string>());
    RunOutput run = runProgram(argv, "");
    EXPECT_EQ(run.status, 0) << run.err << run.out;
    EXPECT_EQ(run.err, "");
    Json summary = Json::parse(run.out.substr(0, run.out.find('\n')), nullptr, false);
    ASSERT_TRUE(summary.is_object()) << run.out;
    EXPECT_EQ(summary["ok"], true) << run.out;
    EXPECT_TRUE(summary["instructions"].get<bool>());
    ASSERT_EQ(summary["tools"].size(), MCP_TOOLS.size()) << run.out;
    for (std::size_t i = 0; i < MCP_TOOLS.size(); ++i) EXPECT_EQ(summary["tools"][i], MCP_TOOLS[i].name);
    EXPECT_EQ(summary["called"], MCP_TOOLS.size());
    EXPECT_FALSE(summary.contains("serverStderr")) << summary["serverStderr"];
}

// Flows of tool calls through plan_flow.mjs over a level-1 store (npm's package cache), a level-2
// one (the Hugging Face hub) and the person's own IDE caches (tier C), each with real bytes.
class McpPlanFlow : public McpSdkClient {
protected:
    void SetUp() override {
        McpSdkClient::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        writeFile(home / ".npm/_cacache/content-v2/sha512/x", std::string(300000, 'n'));
        writeFile(home / ".cache/huggingface/hub/models--tiny/blobs/b", std::string(200000, 'h'));
        writeFile(home / ".cache/JetBrains/IdeaIC2024.3/index", std::string(100000, 'j'));
        for (const char* tree : {".npm", ".cache/huggingface", ".cache/JetBrains"}) ageTree(home / tree);
    }

    // The results of `steps`; each pause's action runs while the client waits between two calls.
    Json runFlow(const Json& steps, const std::map<std::string, std::function<void()>>& pauses = {}) {
        const std::string folder = home / "flow";
        writeFile(folder + "/steps.json", steps.dump());
        RunOutput run;
        std::thread client([&] {
            run = runProgram(
                {node, std::string(MCP_CLIENT_DIR) + "/plan_flow.mjs", KELVOR_BINARY, folder + "/steps.json"}, "");
        });
        for (const auto& [name, action] : pauses) {
            auto until = std::chrono::steady_clock::now() + std::chrono::seconds(60);
            while (!fs::exists(folder + "/" + name + ".ready") && std::chrono::steady_clock::now() < until)
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
            action();
            writeFile(folder + "/" + name + ".go", "");
        }
        client.join();
        Json summary = Json::parse(run.out.substr(0, run.out.find('\n')), nullptr, false);
        EXPECT_EQ(run.status, 0) << run.err << run.out;
        EXPECT_TRUE(summary.is_object() && summary["ok"] == true && !summary.contains("serverStderr"))
            << run.err << run.out;
        EXPECT_EQ(summary["results"].size(), steps.size()) << run.out;
        return summary.is_object() ? summary["results"] : Json::array();
    }
};

bool rowsHold(const Json& rows, const std::string& path) {
    return std::any_of(rows.begin(), rows.end(), [&](const Json& row) { return row.value("path", "") == path; });
}

TEST_F(McpPlanFlow, APlanRunsOnceByItsTokenAloneIntoTheTrashAndUndoTakesItBack) {
    Json steps = Json::array({
        {{"tool", "kelvor_clean"}, {"arguments", {{"max_level", 4}}}},
        {{"tool", "kelvor_free"}, {"arguments", {{"plan_token", "$plan:0"}}}},
        {{"tool", "kelvor_clean"}, {"arguments", {{"plan_token", "$plan:0"}}}},
        {{"tool", "kelvor_clean"}, {"arguments", {{"plan_token", "$plan:0"}}}},
    });
    Json results = runFlow(steps);
    ASSERT_EQ(results.size(), 4u);

    const Json& plan = results[0]["payload"];
    EXPECT_EQ(plan["max_level"], 3);
    EXPECT_TRUE(rowsHold(plan["rows"], home / ".npm/_cacache")) << plan.dump();
    EXPECT_TRUE(rowsHold(plan["rows"], home / ".cache/huggingface/hub")) << plan.dump();
    EXPECT_FALSE(rowsHold(plan["rows"], home / ".cache/JetBrains")) << plan.dump();
    EXPECT_EQ(results[1]["isError"], true) << "the free tool does not take a clean plan";
    const Json& done = results[2]["payload"];
    EXPECT_EQ(results[2]["isError"], false) << done.dump();
    EXPECT_EQ(done["status"], "moved") << done.dump();
    EXPECT_EQ(done["moved"].size(), 2u) << done.dump();
    EXPECT_TRUE(done["undo_command"].get<std::string>().ends_with(" --mode clean --undo"));
    EXPECT_EQ(results[3]["isError"], true) << "a token runs once";

    EXPECT_FALSE(fs::exists(home / ".npm/_cacache"));
    EXPECT_FALSE(fs::exists(home / ".cache/huggingface/hub"));
    EXPECT_TRUE(fs::exists(home / ".cache/JetBrains/IdeaIC2024.3/index"));
    for (const Json& moved : done["moved"]) {
        const std::string to = moved["moved_to"].get<std::string>();
        EXPECT_TRUE(to.starts_with(home / ".local/share/Trash/files/")) << to;
        EXPECT_TRUE(fs::exists(to)) << to;
    }
    ASSERT_TRUE(done.contains("undo_record"));
    EXPECT_TRUE(fs::exists(done["undo_record"].get<std::string>()));

    RunOutput undo = runKelvorMode("clean", {"--undo"});
    EXPECT_EQ(undo.status, 0) << undo.out << undo.err;
    EXPECT_EQ(readFile(home / ".npm/_cacache/content-v2/sha512/x"), std::string(300000, 'n'));
    EXPECT_EQ(readFile(home / ".cache/huggingface/hub/models--tiny/blobs/b"), std::string(200000, 'h'));
}

TEST_F(McpPlanFlow, AFreshServerRefusesAnyTokenTheOverviewSendsProgressAndNinePlansForgetTheFirst) {
    Json steps = Json::array({{{"tool", "kelvor_clean"},
                               {"arguments", {{"plan_token", "plan_0123456789abcdef0123456789abcdef"}}}},
                              {{"tool", "kelvor_overview"}, {"progress", true}},
                              {{"tool", "kelvor_items"}, {"arguments", {{"min_mb", 0}}}}});
    for (int i = 0; i < 9; ++i) steps.push_back({{"tool", "kelvor_clean"}, {"arguments", Json::object()}});
    steps.push_back({{"tool", "kelvor_clean"}, {"arguments", {{"plan_token", "$plan:0"}}}});
    Json results = runFlow(steps);
    ASSERT_EQ(results.size(), 13u);
    EXPECT_EQ(results[0]["isError"], true);
    EXPECT_NE(results[0]["payload"]["reason"].get<std::string>().find("has not written a single plan since it started"),
              std::string::npos);
    EXPECT_EQ(results[0]["payload"]["for_the_assistant"],
              "The approval could not be used. Ask for a fresh plan and show it again.");
    EXPECT_EQ(results[1]["isError"], false);
    EXPECT_GT(results[1]["progress"].get<int>(), 0);
    EXPECT_EQ(results[1]["payload"]["level_ladder"][1]["cumulative_human"], "503.8 KB") << results[1].dump();
    EXPECT_EQ(results[2]["payload"]["count"], 3);
    for (int i = 3; i <= 11; ++i) EXPECT_EQ(results[i]["payload"]["status"], "plan") << i;
    EXPECT_EQ(results[12]["isError"], true);
    EXPECT_EQ(results[12]["payload"]["reason"],
              "plan_token is not one this server issued, or it has already been used — ask for a fresh plan");
    EXPECT_TRUE(fs::exists(home / ".npm/_cacache/content-v2/sha512/x"));
}

TEST_F(McpPlanFlow, AReplacedFolderIsDroppedAndAFolderOpenedAfterPlanningIsHeld) {
    pid_t holder = -1;
    std::map<std::string, std::function<void()>> pauses{{"approved", [&] {
        // A new folder where the planned one was: same path, another object.
        fs::rename(home / ".npm/_cacache", home / ".npm/_cacache-before");
        writeFile(home / ".npm/_cacache/new", "fresh");
        // A program of the person's opens a file in the other planned folder and keeps it open.
        const std::string file = home / ".cache/huggingface/hub/models--tiny/blobs/b";
        holder = ::fork();
        if (holder == 0) {
            ::execl("/bin/sh", "sh", "-c", "exec 3<\"$0\"; exec sleep 120", file.c_str(), static_cast<char*>(nullptr));
            ::_exit(127);
        }
        // The shell has the file open once it has become sleep.
        for (int i = 0; i < 500; ++i) {
            std::error_code error;
            if (fs::read_symlink("/proc/" + std::to_string(holder) + "/exe", error).filename() == "sleep") break;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }}};
    Json steps = Json::array({
        {{"tool", "kelvor_clean"}, {"arguments", {{"max_level", 2}}}},
        {{"tool", "kelvor_clean"}, {"arguments", {{"plan_token", "$plan:0"}}}, {"pause", "approved"}},
    });
    Json results = runFlow(steps, pauses);
    if (holder > 0) {
        ::kill(holder, SIGKILL);
        ::waitpid(holder, nullptr, 0);
    }
    ASSERT_EQ(results.size(), 2u);
    EXPECT_EQ(results[0]["payload"]["rows"].size(), 2u) << results[0].dump();
    const Json& done = results[1]["payload"];
    EXPECT_EQ(done["status"], "nothing_moved") << done.dump();
    ASSERT_EQ(done["dropped"].size(), 1u) << done.dump();
    EXPECT_EQ(done["dropped"][0]["path"], home / ".npm/_cacache");
    EXPECT_NE(done["dropped"][0]["reason"].get<std::string>().find("not the same folder any more"), std::string::npos);
    ASSERT_EQ(done["blocked"].size(), 1u) << done.dump();
    EXPECT_EQ(done["blocked"][0]["path"], home / ".cache/huggingface/hub");
    EXPECT_NE(done["for_the_assistant"].get<std::string>().find("the guards blocked every row"), std::string::npos);
    EXPECT_EQ(readFile(home / ".npm/_cacache/new"), "fresh");
    EXPECT_TRUE(fs::exists(home / ".npm/_cacache-before/content-v2/sha512/x"));
    EXPECT_TRUE(fs::exists(home / ".cache/huggingface/hub/models--tiny/blobs/b"));
}

}  // namespace
}  // namespace kelvor
