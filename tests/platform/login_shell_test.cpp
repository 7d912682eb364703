#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <thread>

#include "quillet/platform/login_shell.hpp"
#include "quillet/platform/our_spawns.hpp"
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
    auto environment = readLoginShellEnvironment("/bin/sh", 5000ms).environment;
    EXPECT_EQ(environment["KELVOR_TEST_MARK"], "carried");
    EXPECT_EQ(environment["KELVOR_PROFILE_MARK"], "from-profile");
}

TEST(LoginShell, ArgumentsAreLoginThenCommand) {
    TempHome home;
    std::string shell = writeShell(home, "args", "printf 'ONE=%s\\0TWO=%s\\0THREE=%s\\0' \"$1\" \"$2\" \"$3\"\n");
    auto environment = readLoginShellEnvironment(shell, 5000ms).environment;
    EXPECT_EQ(environment, (std::map<std::string, std::string>{{"ONE", "-l"}, {"TWO", "-c"}, {"THREE", "/usr/bin/env -0"}}));
}

// True while any process still runs with `marker` in its command line.
bool anyProcessCarries(const std::string& marker) {
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        std::string command = testing::readFile(entry.path() / "cmdline");
        std::replace(command.begin(), command.end(), '\0', ' ');
        if (command.find(marker) != std::string::npos) return true;
    }
    return false;
}

TEST(LoginShell, EveryFailureIsEmptyAndSaysWhy) {
    TempHome home;
    struct Case {
        std::string what;
        std::string shell;
        std::optional<LoginReadFailure> failure;
    };
    const Case cases[] = {
        {"missing", home / "no-such-shell", LoginReadFailure::cannotStart},
        {"non-zero exit", writeShell(home, "fails", "printf 'A=1\\0'\nexit 3\n"), LoginReadFailure::exitedNonZero},
        {"killed after the limit", writeShell(home, "hangs", "printf 'A=1\\0'\nexec sleep 30\n"), LoginReadFailure::timedOut},
        {"closes its output, then sleeps", writeShell(home, "closes", "printf 'A=1\\0'\nexec >&-\nsleep 20\n"),
         LoginReadFailure::timedOut},
        {"prints without end", writeShell(home, "floods", "yes KELVOR_FLOOD=xxxxxxxxxxxxxxxx\n"),
         LoginReadFailure::tooMuchOutput},
    };
    for (const Case& c : cases) {
        auto started = std::chrono::steady_clock::now();
        LoginShellRead read = readLoginShellEnvironment(c.shell, 500ms);
        EXPECT_LT(std::chrono::steady_clock::now() - started, 1500ms) << c.what;
        EXPECT_TRUE(read.environment.empty()) << c.what;
        EXPECT_EQ(read.failure, c.failure) << c.what;
    }
    EXPECT_TRUE(OurSpawns::all().empty()) << "every shell was reaped and forgotten";
}

TEST(LoginShell, ABackgroundJobNeitherSpoilsTheReadNorOutlivesIt) {
    TempHome home;
    const std::string marker = "kelvor-background-" + std::to_string(::getpid());
    std::string sleeper = writeShell(home, marker, "sleep 30\n");
    std::string shell = writeShell(home, "background", "'" + sleeper + "' &\nprintf 'A=1\\0'\n");
    auto started = std::chrono::steady_clock::now();
    LoginShellRead read = readLoginShellEnvironment(shell, 3000ms);
    EXPECT_LT(std::chrono::steady_clock::now() - started, 2000ms) << "the read ends with the shell, not the pipe";
    EXPECT_EQ(read.failure, std::nullopt);
    EXPECT_EQ(read.environment, (std::map<std::string, std::string>{{"A", "1"}}));
    for (int tries = 0; tries < 100 && anyProcessCarries(marker); ++tries) std::this_thread::sleep_for(10ms);
    EXPECT_FALSE(anyProcessCarries(marker)) << "the profile's job ended with the read";
}

}  // namespace
}  // namespace kelvor
