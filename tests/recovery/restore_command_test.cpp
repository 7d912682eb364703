#include "quillet/recovery/restore_command.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

using testing::TempHome;
using testing::writeFile;

// A folder of stand-in tools put first on PATH for the test.
struct FakeTools {
    TempHome home;
    std::string bin = home / "bin";

    FakeTools() {
        add("npm");
        ::chmod(bin.c_str(), 0755);
        home.setEnv("PATH", "relative-bin:" + bin + ":/usr/bin:/bin");
    }
    std::string add(const std::string& name, const std::string& script = "exit 0\n") {
        std::string path = bin + "/" + name;
        writeFile(path, "#!/bin/sh\n" + script);
        ::chmod(path.c_str(), 0755);
        return path;
    }
};

TEST(ValidRestoreCmd, AcceptsOnlyAPlainArgvOfAKnownToolOnPath) {
    FakeTools tools;
    EXPECT_TRUE(validRestoreCmd({"npm", "install", "left-pad@1.3.0"}));
    EXPECT_EQ(findOnPath("npm"), tools.bin + "/npm");
    tools.add("rm");
    tools.add("sh");
    const std::vector<std::vector<std::string>> refused = {
        {},
        {"rm", "-rf", "/"},                  // not an owner tool
        {"sh", "-c", "npm install"},         // a shell is not a tool
        {tools.bin + "/npm", "install"},     // a path, not a name found on PATH
        {"npm", "install;reboot"},           // shell metacharacters
        {"npm", "install", "$(id)"},
        {"npm", "install", "`id`"},
        {"npm", "install", "a|b"},
        {"npm", "install", "x\ny"},          // control characters
        {"npm", ""},                         // an empty word
        {"ollama", "pull", "llama3"},        // known, but not installed here
    };
    for (const auto& command : refused) EXPECT_FALSE(validRestoreCmd(command)) << ::testing::PrintToString(command);
}

TEST(ValidRestoreCmd, RefusesAProgramOthersCouldHaveChangedAndJudgesALinkByWhatItPointsTo) {
    FakeTools tools;
    std::string npm = tools.bin + "/npm";
    ::chmod(npm.c_str(), 0757);
    EXPECT_FALSE(validRestoreCmd({"npm", "install"})) << "writable by others";
    ::chmod(npm.c_str(), 0755);
    ::chmod(tools.bin.c_str(), 0777);
    EXPECT_FALSE(validRestoreCmd({"npm", "install"})) << "its folder writable by others";
    ::chmod(tools.bin.c_str(), 0755);
    if (::geteuid() == 0) {
        ASSERT_EQ(::chown(npm.c_str(), 65534, 65534), 0);
        EXPECT_FALSE(validRestoreCmd({"npm", "install"})) << "owned by another user";
    }
    std::string elsewhere = tools.home / "shared";
    writeFile(elsewhere + "/cargo-real", "#!/bin/sh\nexit 0\n");
    ::chmod((elsewhere + "/cargo-real").c_str(), 0755);
    ::chmod(elsewhere.c_str(), 0777);
    ASSERT_EQ(::symlink((elsewhere + "/cargo-real").c_str(), (tools.bin + "/cargo").c_str()), 0);
    EXPECT_FALSE(validRestoreCmd({"cargo", "fetch"}));
    ::chmod(elsewhere.c_str(), 0755);
    EXPECT_TRUE(validRestoreCmd({"cargo", "fetch"}));
}

TEST(CommandRestoresExactly, OnlyAPinnedVersionBringsBackTheSameOne) {
    const std::vector<std::pair<std::vector<std::string>, bool>> cases = {
        {{"npm", "install", "left-pad@1.3.0"}, true},
        {{"pip", "install", "torch==2.3.1"}, true},
        {{"hf", "download", "org/model", "--revision", "a1b2c3"}, true},
        {{"ollama", "pull", "llama3@sha256:0123"}, true},
        {{"npm", "install", "@scope/pkg"}, false},
        {{"npm", "install", "left-pad@latest"}, false},
        {{"ollama", "pull", "llama3"}, false},
        {{"hf", "download", "--revision"}, false},
    };
    for (const auto& [command, exact] : cases)
        EXPECT_EQ(commandRestoresExactly(command), exact) << ::testing::PrintToString(command);
}

TEST(RunRecordedCommand, TellsAFailedStartFromAFailedRun) {
    FakeTools tools;
    EXPECT_EQ(runRecordedCommand({"npm", "ci"}), CommandRun::succeeded);
    tools.add("npm", "exit 4\n");
    EXPECT_EQ(runRecordedCommand({"npm", "ci"}), CommandRun::failed);
    writeFile(tools.bin + "/npm", "#!/nonexistent/interpreter\n");
    EXPECT_EQ(runRecordedCommand({"npm", "ci"}), CommandRun::couldNotStart);
    // No shell: the words reach the program as they are.
    tools.add("npm", "[ \"$1\" = 'a b;c' ] && [ $# -eq 1 ]\n");
    EXPECT_EQ(runRecordedCommand({"npm", "a b;c"}), CommandRun::succeeded);
}

}  // namespace
}  // namespace kelvor
