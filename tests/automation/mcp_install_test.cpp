// --mode mcp-install on the settings files of a temporary home, and the layout it writes them in.
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "quillet/automation/json_layout.hpp"
#include "quillet/automation/mcp_install.hpp"
#include "tests/support/run_kelvor.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using namespace testing;

RunOutput install(const std::vector<std::string>& extra = {}) { return runKelvorMode("mcp-install", extra); }

// A file's bytes and modification time, to tell that nothing wrote it.
std::pair<std::string, fs::file_time_type> stamp(const std::string& path) {
    return {readFile(path), fs::last_write_time(path)};
}

TEST(McpInstall, KeepsOtherServersInOrderAndSecondRunWritesNothing) {
    TempHome home;
    const std::string file = home / ".cursor/mcp.json";
    const std::string original =
        "{\n    \"mcpServers\": {\n        \"zeta\": {\"command\": \"z\"},\n        \"alpha\": {\"command\": \"a\", "
        "\"args\": [\"-y\"]}\n    },\n    \"theme\": \"dark\"\n}\n";
    writeFile(file, original);

    auto first = install();
    ASSERT_EQ(first.status, 0) << first.out << first.err;
    EXPECT_NE(first.out.find("  Cursor: connected\n"), std::string::npos) << first.out;
    EXPECT_NE(first.out.find("Start a new session in those clients"), std::string::npos) << first.out;
    EXPECT_EQ(readFile(file + ".bak"), original);

    std::string rewritten = readFile(file);
    auto document = nlohmann::ordered_json::parse(rewritten);
    std::vector<std::string> names;
    for (auto& [name, value] : document["mcpServers"].items()) names.push_back(name);
    EXPECT_EQ(names, (std::vector<std::string>{"zeta", "alpha", "kelvor"}));
    EXPECT_EQ(document["mcpServers"]["alpha"]["args"][0], "-y");
    EXPECT_EQ(document["theme"], "dark");
    EXPECT_EQ(document["mcpServers"]["kelvor"]["args"], nlohmann::ordered_json({"--mode", "mcp"}));
    EXPECT_TRUE(fs::path(document["mcpServers"]["kelvor"]["command"].get<std::string>()).is_absolute());
    EXPECT_EQ(rewritten.substr(0, 6), "{\n    ") << "the four-space layout is kept";

    auto before = stamp(file);
    auto second = install();
    EXPECT_EQ(second.status, 0);
    EXPECT_NE(second.out.find("  Cursor: already connected\n"), std::string::npos) << second.out;
    EXPECT_EQ(stamp(file), before);
}

TEST(McpInstall, MalformedAndCommentedFilesAreLeftByteForByte) {
    TempHome home;
    const std::string broken = home / ".cursor/mcp.json";
    const std::string commented = home / ".config/Code/User/mcp.json";
    writeFile(broken, "{\"mcpServers\": {\"a\": ");
    writeFile(commented, "{\n  // my servers\n  \"servers\": {}\n}\n");
    auto brokenBefore = stamp(broken), commentedBefore = stamp(commented);

    auto run = install();
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.out.find(broken + " could not be read — left untouched"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find(commented + " could not be read — left untouched"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("2 client(s) could not be connected"), std::string::npos) << run.out;
    EXPECT_EQ(stamp(broken), brokenBefore);
    EXPECT_EQ(stamp(commented), commentedBefore);
    EXPECT_FALSE(fs::exists(broken + ".bak"));
}

TEST(McpInstall, WithoutClientsSaysSoAndADryRunWritesNothingAndCountsWhatWouldConnect) {
    TempHome home;
    auto none = install();
    EXPECT_EQ(none.status, 0);
    EXPECT_NE(none.out.find("No MCP client found"), std::string::npos) << none.out;
    fs::create_directories(home / ".gemini");
    fs::create_directories(home / ".codeium/windsurf");
    auto run = install({"--dry-run"});
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.out.find("  Gemini CLI: would be connected\n"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("  Cursor: not installed · skipped\n"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("Dry run: nothing is written.\n2 client(s) would be connected."), std::string::npos)
        << run.out;
    EXPECT_FALSE(fs::exists(home / ".gemini/settings.json"));
    EXPECT_FALSE(fs::exists(home / ".codeium/windsurf/mcp_config.json"));
}

TEST(McpInstall, ANewVsCodeFileUsesItsKeyUnderXdgConfigHomeAndAStaleEntryIsReplacedNotDuplicated) {
    TempHome home;
    home.setEnv("XDG_CONFIG_HOME", home / "elsewhere");
    fs::create_directories(home / "elsewhere/Code/User");
    const std::string claude = home / ".claude.json";
    fs::create_directories(home / ".claude");
    writeFile(claude, R"({"numStartups": 3, "mcpServers": {"kelvor": {"command": "/old/kelvor", "args": []}}})");
    ASSERT_EQ(install().status, 0);
    auto vscode = nlohmann::json::parse(readFile(home / "elsewhere/Code/User/mcp.json"));
    EXPECT_TRUE(vscode["servers"].contains("kelvor"));
    EXPECT_FALSE(fs::exists(home / "elsewhere/Code/User/mcp.json.bak"));
    auto document = nlohmann::ordered_json::parse(readFile(claude));
    EXPECT_EQ(document["numStartups"], 3);
    EXPECT_NE(document["mcpServers"]["kelvor"]["command"], "/old/kelvor");
    EXPECT_EQ(document["mcpServers"].size(), 1u);
}

TEST(McpInstall, ALinkedSettingsFileIsNeverWrittenThrough) {
    TempHome home;
    writeFile(home / "dotfiles/claude.json", "{}\n");
    fs::create_directories(home / ".claude");
    fs::create_symlink(home / "dotfiles/claude.json", home / ".claude.json");
    auto run = install();
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.out.find("is a symbolic link — left untouched"), std::string::npos) << run.out;
    EXPECT_TRUE(fs::is_symlink(home / ".claude.json"));
    EXPECT_EQ(readFile(home / "dotfiles/claude.json"), "{}\n");
}

TEST(JsonLayout, KeepsIndentationAndFinalNewline) {
    struct Case {
        std::string text;
        char indentChar;
        int indentWidth;
        bool finalNewline;
    };
    for (const Case& c : std::vector<Case>{
             {"{\n\t\"a\": 1\n}", '\t', 1, false},
             {"{\n    \"a\": {\n        \"b\": 2\n    }\n}\n", ' ', 4, true},
             {"{\"a\":1}\n", ' ', -1, true},
             {"", ' ', 2, true},
             {"{\n\n  \"a\": 1\n}\n", ' ', 2, true},
         }) {
        JsonLayout layout = detectJsonLayout(c.text);
        EXPECT_EQ(layout.indentChar, c.indentChar) << c.text;
        EXPECT_EQ(layout.indentWidth, c.indentWidth) << c.text;
        EXPECT_EQ(layout.finalNewline, c.finalNewline) << c.text;
    }
    std::string tabbed = "{\n\t\"a\": [\n\t\t1\n\t]\n}";
    EXPECT_EQ(renderJson(nlohmann::ordered_json::parse(tabbed), detectJsonLayout(tabbed)), tabbed);
}

}  // namespace
}  // namespace kelvor
