#include <gtest/gtest.h>

#include "quillet/guards/guards.hpp"

namespace kelvor {
namespace {

TEST(ProcMatch, ToolsAreFoundByExecutableCommandOrInterpretedScript) {
    struct Case {
        std::string path;
        std::string args;
        std::string tool;
        bool runs;
    };
    const Case cases[] = {
        {"/usr/local/bin/ollama", "ollama serve", "ollama", true},
        {"", "/usr/bin/ollama runner --model x", "ollama", true},  // another user's: executable unreadable
        {"/usr/bin/dash", "/bin/sh /home/a/bin/ollama", "ollama", true},
        {"/usr/bin/node", "node /usr/local/bin/claude --resume", "claude", true},
        {"/usr/bin/python3.12", "/usr/bin/env python3 -u /home/a/.local/bin/hf download m", "hf download", true},
        {"/home/a/.local/bin/hf", "/home/a/.local/bin/hf upload m", "hf download", false},
        {"/usr/bin/vim", "vim /home/a/bin/ollama", "ollama", false},
        {"/usr/bin/ollama-helper", "ollama-helper", "ollama", false},
        {"/usr/bin/grep", "grep ollama", "ollama", false},
    };
    for (const Case& c : cases) {
        Proc proc{.pid = 1, .path = c.path, .args = c.args};
        EXPECT_EQ(procRunsTool(proc, c.tool), c.runs) << c.path << " | " << c.args << " | " << c.tool;
    }
}

TEST(ProcMatch, LibraryTokensCountOnlyForInterpreters) {
    struct Case {
        std::string path;
        std::string args;
        bool mentions;
    };
    const Case cases[] = {
        {"/usr/bin/python3", "python3 -m huggingface_hub.commands.cli download", true},
        {"/usr/bin/python3", "python3 -m huggingface_hub", true},
        {"/usr/bin/python3", "python3 /venv/lib/site-packages/huggingface_hub/x.py", true},
        {"/usr/bin/python3", "python3 my_huggingface_hub_notes.py", false},
        {"/usr/bin/less", "less huggingface_hub", false},
    };
    for (const Case& c : cases) {
        Proc proc{.pid = 1, .path = c.path, .args = c.args};
        EXPECT_EQ(procMentionsToken(proc, "huggingface_hub"), c.mentions) << c.args;
    }
}

TEST(ProcMatch, AnAppIsLabelledByItsOwnerOrItsBundle) {
    EXPECT_EQ(guardProcLabel({.path = "/usr/share/code/code", .args = ""}), "VS Code");
    EXPECT_EQ(guardProcLabel({.path = "/snap/code/172/usr/share/code/code", .args = ""}), "VS Code");
    EXPECT_EQ(guardProcLabel({.path = "/opt/google/chrome/chrome", .args = ""}), "Google Chrome");
    EXPECT_EQ(guardProcLabel({.path = "/Applications/Notes Plus.app/Contents/MacOS/Notes Plus", .args = ""}), "Notes Plus");
    EXPECT_EQ(guardProcLabel({.path = "/usr/bin/vim", .args = ""}), std::nullopt);
    EXPECT_EQ(guardProcLabel({.path = "", .args = ""}), std::nullopt);
}

TEST(ProcMatch, AServiceAccountIsRecognisedByItsUserId) {
    EXPECT_TRUE(procRunsAsUser({.path = "/x", .args = "", .uid = 0}, "root"));
    EXPECT_FALSE(procRunsAsUser({.path = "/x", .args = "", .uid = 4242}, "root"));
    EXPECT_FALSE(procRunsAsUser({.path = "/x", .args = "", .uid = -1}, "root")) << "an unknown user is nobody";
    EXPECT_FALSE(procRunsAsUser({.path = "/x", .args = "", .uid = 0}, "no-such-account-here"));
}

TEST(ProcMatch, ASentenceNamesTheScriptAnInterpreterRuns) {
    EXPECT_EQ(procCommandName({.path = "/usr/bin/dash", .args = "/bin/sh /home/a/bin/ollama"}), "/home/a/bin/ollama");
    EXPECT_EQ(procCommandName({.path = "/usr/bin/ollama", .args = "ollama serve"}), "/usr/bin/ollama");
    EXPECT_EQ(procCommandName({.path = "", .args = "ollama serve"}), "ollama");
}

}  // namespace
}  // namespace kelvor
