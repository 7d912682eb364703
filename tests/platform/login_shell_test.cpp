#include <gtest/gtest.h>

#include <filesystem>

#include "quillet/platform/login_shell.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

using namespace std::chrono_literals;
using testing::TempHome;

TEST(ParseNulEnvironment, RecordsAndWhatIsSkipped) {
    struct Case {
        std::string bytes;
        std::map<std::string, std::string> expected;
    };
    const Case cases[] = {
        {std::string("A=1\0B=two words\0", 17), {{"A", "1"}, {"B", "two words"}}},
        {std::string("A=x=y\0", 6), {{"A", "x=y"}}},
        {std::string("MULTI=line1\nline2\0", 18), {{"MULTI", "line1\nline2"}}},
        {std::string("motd text\nmore\nHF_HOME=/hf\0", 27), {{"HF_HOME", "/hf"}}},
        {std::string("noequals\0=empty\0 BAD=1\0OK=\0", 27), {{"OK", ""}}},
        {std::string("LAST=unterminated", 17), {{"LAST", "unterminated"}}},
        {"", {}},
    };
    for (const Case& c : cases) EXPECT_EQ(parseNulEnvironment(c.bytes), c.expected) << c.bytes;
}

// A shell script standing in for the login shell; it is run as `script -l -c '/usr/bin/env -0'`.
std::string writeShell(const TempHome& home, const std::string& name, const std::string& body) {
    std::string path = home / name;
    testing::writeFile(path, "#!/bin/sh\n" + body);
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    return path;
}

TEST(LoginShell, ReadsWhatARealShellPrints) {
    TempHome home;
    home.setEnv("KELVOR_TEST_MARK", "carried");
    // /bin/sh as a login shell reads the temporary home's profile, which exports one more value.
    testing::writeFile(home / ".profile", "export KELVOR_PROFILE_MARK=from-profile\n");
    auto environment = readLoginShellEnvironment("/bin/sh", 5000ms);
    EXPECT_EQ(environment["KELVOR_TEST_MARK"], "carried");
    EXPECT_EQ(environment["KELVOR_PROFILE_MARK"], "from-profile");
}

TEST(LoginShell, ArgumentsAreLoginThenCommand) {
    TempHome home;
    std::string shell = writeShell(home, "args", "printf 'ONE=%s\\0TWO=%s\\0THREE=%s\\0' \"$1\" \"$2\" \"$3\"\n");
    auto environment = readLoginShellEnvironment(shell, 5000ms);
    EXPECT_EQ(environment, (std::map<std::string, std::string>{{"ONE", "-l"}, {"TWO", "-c"}, {"THREE", "/usr/bin/env -0"}}));
}

TEST(LoginShell, EveryFailureIsEmpty) {
    TempHome home;
    struct Case {
        std::string what;
        std::string shell;
    };
    const Case cases[] = {
        {"missing", home / "no-such-shell"},
        {"non-zero exit", writeShell(home, "fails", "printf 'A=1\\0'\nexit 3\n")},
        {"killed after the limit", writeShell(home, "hangs", "printf 'A=1\\0'\nexec sleep 30\n")},
        {"not executable", home.path()},
    };
    for (const Case& c : cases) EXPECT_TRUE(readLoginShellEnvironment(c.shell, 300ms).empty()) << c.what;
}

}  // namespace
}  // namespace kelvor
