#include "quillet/guards/guards.hpp"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <filesystem>
#include <thread>

#include "tests/support/temp_home.hpp"

extern char** environ;

namespace kelvor {
namespace {

bool anyReasonHas(const std::vector<GuardViolation>& violations, const std::string& text) {
    return std::any_of(violations.begin(), violations.end(),
                       [&](const GuardViolation& v) { return v.reason.find(text) != std::string::npos; });
}

// Every violation, one line each with the flags it carries.
std::string reasons(const std::vector<GuardViolation>& violations) {
    std::string all;
    for (const GuardViolation& v : violations)
        all += v.reason + (v.hard ? " [hard]" : "") + (v.quitFrees ? " [quit frees]" : "") +
               (v.simulator ? " [simulator]" : "") + "\n";
    return all;
}

// The guards on a presented process table, without open files or the recent-write check.
std::vector<GuardViolation> check(std::string_view owner, const std::string& target, const std::vector<Proc>& procs,
                                  LiveSafe liveSafe = LiveSafe::no) {
    return checkGuards(owner, target, procs, std::nullopt, liveSafe, RecentWriteCheck::skip);
}

// --- checks on a presented process table ---------------------------------------------------------

TEST(CheckGuards, EachRunningProcessGivesItsOneReason) {
    const std::vector<Proc> server = {{.pid = 41, .ppid = 1, .path = "/home/a/tools/bin/server", .args = "server"}};
    const std::vector<Proc> chrome = {
        {.pid = 100, .ppid = 1, .path = "/opt/google/chrome/chrome", .args = "/opt/google/chrome/chrome"},
        {.pid = 101, .ppid = 100, .path = "/opt/google/chrome/chrome", .args = "chrome --type=renderer"},
        {.pid = 102, .ppid = 100, .path = "/opt/google/chrome/chrome", .args = "chrome --type=gpu-process"},
    };
    const std::string helper =
        "/Applications/Google Chrome.app/Contents/Frameworks/Google Chrome Framework.framework/Helpers/"
        "Google Chrome Helper.app/Contents/MacOS/Google Chrome Helper";
    const Proc macHelper{.pid = 70, .ppid = 1, .path = helper, .args = "helper"};
    const Proc macChrome{.pid = 71, .ppid = 1, .path = "/Applications/Google Chrome.app/Contents/MacOS/Google Chrome",
                         .args = "chrome"};
    const std::vector<Proc> huggingFace = {
        {.pid = 20, .ppid = 1, .path = "/usr/bin/python3.11", .args = "python3 -m huggingface_hub download x"},
        {.pid = 30, .ppid = 1, .path = "/home/a/.local/bin/hf", .args = "/usr/bin/python3 /home/a/.local/bin/hf download m"},
        {.pid = 40, .ppid = 1, .path = "/usr/bin/vim", .args = "vim datasets"}};
    const std::string xcodebuild = "/Applications/Xcode.app/Contents/Developer/usr/bin/xcodebuild";
    const std::string derived = "/Users/a/Library/Developer/Xcode/DerivedData";
    const std::string simulator =
        "/Library/Developer/PrivateFrameworks/CoreSimulator.framework/Versions/A/XPCServices/sim";
    const std::string binaryInside =
        "a running process's binary lives inside this path (pid 41: /home/a/tools/bin/server) [hard]\n";
    const std::string chromeRuns = "the owning app is running (Google Chrome) — quit it first [quit frees]\n";
    struct Case {
        const char* what;
        std::string_view owner;
        std::string target;
        std::vector<Proc> procs;
        std::string expected;
        LiveSafe liveSafe = LiveSafe::no;
    };
    const Case cases[] = {
        {"an executable inside", "npm", "/home/a/tools", server, binaryInside},
        {"a folder whose name is a prefix of the target's", "npm", "/home/a/tool", server, ""},
        {"a trailing slash names the same folder", "npm", "/home/a/tools/", server, binaryInside},
        {"the owner's app, once for all its processes", "Google Chrome", "/home/a/.cache/google-chrome", chrome,
         chromeRuns},
        {"a store that may go while its app runs", "Google Chrome", "/home/a/.cache/google-chrome", chrome, "",
         LiveSafe::yes},
        {"another owner's app", "VS Code", "/home/a/.config/Code/Cache", chrome, ""},
        {"a helper in the app's bundle", "Google Chrome", "/Users/a/Library/Caches/Google/Chrome", {macHelper},
         "a helper inside Google Chrome's own bundle is running (pid 70: " + helper +
             ") — quitting Google Chrome frees this [quit frees]\n"},
        {"the helper with its app: the app is the reason", "Google Chrome", "/Users/a/Library/Caches/Google/Chrome",
         {macHelper, macChrome}, chromeRuns},
        {"xcodebuild answering a question", "Xcode", derived,
         {{.pid = 9, .ppid = 1, .path = xcodebuild, .args = "xcodebuild -version"}}, ""},
        {"xcodebuild building", "Xcode", derived,
         {{.pid = 9, .ppid = 1, .path = xcodebuild, .args = "xcodebuild -scheme App build"}},
         "the owning app is running (Xcode) — quit it first [quit frees]\n"},
        {"an owner's tool, run by library name or as a script; not an editor opening a file", "HuggingFace",
         "/home/a/.cache/huggingface", huggingFace,
         "HuggingFace is running (pid 20: huggingface_hub) — a download or build may be in flight\n"
         "HuggingFace is running (pid 30: /home/a/.local/bin/hf) — a download or build may be in flight\n"},
        {"a store that may go while its tool runs", "HuggingFace", "/home/a/.cache/huggingface", huggingFace, "",
         LiveSafe::yes},
        {"another owner's store", "npm", "/home/a/.cache/huggingface", huggingFace, ""},
        {"a script named like the tool, run by a shell", "Ollama", "/home/a/.ollama/models",
         {{.pid = 80, .ppid = 1, .path = "/usr/bin/dash", .args = "/bin/sh /home/a/bin/ollama"}},
         "Ollama is running (pid 80: /home/a/bin/ollama) — a download or build may be in flight\n"},
        {"a tool and its helper", "Gradle", "/home/a/.gradle/caches",
         {{.pid = 50, .ppid = 1, .path = "/tmp/x/gradle", .args = "gradle build"},
          {.pid = 51, .ppid = 50, .path = "/tmp/x/gradle", .args = "gradle worker"}},
         "Gradle is running (pid 50: /tmp/x/gradle) — a download or build may be in flight\n"
         "a helper of Gradle is running (pid 51: /tmp/x/gradle) — it may be writing here\n"},
        {"control characters in a process path are escaped", "npm", "/home/a/t",
         {{.pid = 3, .ppid = 1, .path = "/home/a/t/evil\n\x1b[2J", .args = "evil"}},
         "a running process's binary lives inside this path (pid 3: /home/a/t/evil\\n\\x1b[2J) [hard]\n"},
        {"a booted simulator is not freed by quitting", "Xcode", "/Users/a/Library/Developer/CoreSimulator/Devices",
         {{.pid = 60, .ppid = 1, .path = simulator, .args = "sim"}},
         "a booted Simulator holds this (pid 60: " + simulator +
             ") — quitting Xcode does not stop it; use Simulator › Device › Shutdown All [simulator]\n"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(reasons(check(c.owner, c.target, c.procs, c.liveSafe)), c.expected) << c.what;
}

TEST(CheckGuards, FilesOpenInsideAreHardForAnonymousProcessesAndSoftForApps) {
    const std::vector<Proc> procs = {
        {.pid = 7, .ppid = 1, .path = "/usr/bin/python3.12", .args = "python3 train.py"},
        {.pid = 8, .ppid = 1, .path = "/usr/share/code/code", .args = "/usr/share/code/code"},
    };
    // Deliberately out of order: a list not made by openHomeFiles is still searched right.
    const std::vector<OpenFile> open = {
        {8, "/home/a/.cache/store/b.db"},
        {7, "/home/a/.cache/store-2/a.bin"},
        {7, "/home/a/.cache/store/a.bin"},
        {7, "/home/a/.cache/store/c.bin"},
    };
    std::vector<GuardViolation> found =
        checkGuards("Cargo", "/home/a/.cache/store", procs, open, LiveSafe::no, RecentWriteCheck::skip);
    std::string described = reasons(found);
    EXPECT_EQ(found.size(), 2u) << "one reason per process: " << described;
    EXPECT_NE(described.find("a process has a file open inside (pid 7: /home/a/.cache/store/a.bin) [hard]\n"),
              std::string::npos) << described;
    EXPECT_NE(described.find("VS Code has a file open inside (pid 8: /home/a/.cache/store/b.db) — quitting it frees "
                             "this [quit frees]\n"),
              std::string::npos) << described;
    const OpenFileIndex index(open);
    EXPECT_EQ(reasons(checkGuards("Cargo", "/home/a/.cache/store", procs, &index, LiveSafe::no, RecentWriteCheck::skip)),
              described) << "an index gives the same answer";
    EXPECT_TRUE(check("Cargo", "/home/a/.cache/store", procs).empty()) << "no open files gathered, no check of them";
}

TEST(CheckGuards, ACommandLinkThatMovedIntoTheTargetSinceTheScanBlocksItHard) {
    testing::TempHome home;
    testing::writeFile(home / "versions/20/bin/node", "#!/bin/sh\n");
    testing::writeFile(home / "versions/22/bin/node", "#!/bin/sh\n");
    const std::string link = home / "bin/node";
    std::filesystem::create_directories(home / "bin");
    std::filesystem::create_symlink(home / "versions/20/bin/node", link);
    const std::string atScan = std::filesystem::canonical(link).string();
    const std::string old = std::filesystem::canonical(home / "versions/20").string();
    const std::string current = std::filesystem::canonical(home / "versions/22").string();
    EXPECT_EQ(commandLinkMovedHere(old, link, atScan), std::nullopt) << "the link has not moved";
    std::filesystem::remove(link);
    std::filesystem::create_symlink(home / "versions/22/bin/node", link);
    std::optional<GuardViolation> moved = commandLinkMovedHere(current, link, atScan);
    ASSERT_TRUE(moved.has_value());
    EXPECT_TRUE(moved->hard);
    EXPECT_EQ(moved->reason, "this is the node the command runs now — the link moved to it since the scan");
    EXPECT_EQ(commandLinkMovedHere(old, link, atScan), std::nullopt) << "the old version is no longer run";
    EXPECT_EQ(commandLinkMovedHere(current, home / "bin/missing", atScan), std::nullopt);
}

// --- real processes ------------------------------------------------------------------------------

// A child process for one test, killed and reaped at the end of it.
class Child {
public:
    explicit Child(pid_t pid) : pid_(pid) {}
    ~Child() {
        if (pid_ <= 0) return;
        // The whole group: a script's own children would otherwise outlive the test.
        ::kill(-pid_, SIGKILL);
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    pid_t pid() const { return pid_; }

private:
    pid_t pid_;
};

pid_t spawn(const std::vector<std::string>& argv) {
    std::vector<char*> args;
    for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    posix_spawnattr_t attributes;
    ::posix_spawnattr_init(&attributes);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    ::posix_spawnattr_setpgroup(&attributes, 0);
    pid_t pid = -1;
    int failed = ::posix_spawnp(&pid, args[0], nullptr, &attributes, args.data(), environ);
    ::posix_spawnattr_destroy(&attributes);
    return failed ? -1 : pid;
}

// Polls until `ready` holds (a child needs a moment to open its file or exec its program).
bool eventually(const std::function<bool()>& ready) {
    for (int i = 0; i < 200; ++i) {
        if (ready()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
    }
    return false;
}

std::vector<GuardViolation> guardsNow(std::string_view owner, const std::string& target, LiveSafe liveSafe) {
    std::optional<std::vector<Proc>> procs = runningProcessesChecked();
    if (!procs) return {{.reason = "no process list", .hard = true}};
    std::vector<OpenFile> open = openHomeFiles(*procs);
    return checkGuards(owner, target, *procs, open, liveSafe, RecentWriteCheck::skip);
}

// Polls the guards on this machine until `reason` is among them, hard.
bool blockedHard(std::string_view owner, const std::string& target, LiveSafe liveSafe, const std::string& reason) {
    return eventually([&] {
        std::vector<GuardViolation> found = guardsNow(owner, target, liveSafe);
        return std::ranges::any_of(found, [&](const GuardViolation& v) { return v.reason == reason && v.hard; });
    });
}

TEST(CheckGuardsOnThisMachine, AChildHoldingAFileOpenOrMappedInsideBlocksItHard) {
    testing::TempHome home;
    const std::string held = home / "store/deep/held.bin", mapped = home / "models/weights.gguf";
    testing::writeFile(held, "x");
    testing::writeFile(mapped, std::string(8192, 'w'));
    pid_t pid = ::fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        // Only async-signal-safe calls here: hold one file open, map the other without keeping its
        // descriptor, wait to be killed.
        int fd = ::open(mapped.c_str(), O_RDONLY);
        if (fd < 0 || ::mmap(nullptr, 8192, PROT_READ, MAP_SHARED, fd, 0) == MAP_FAILED) ::_exit(1);
        ::close(fd);
        if (::open(held.c_str(), O_RDONLY) < 0) ::_exit(1);
        for (;;) ::pause();
    }
    Child child(pid);
    const std::string inside = "a process has a file open inside (pid " + std::to_string(pid) + ": ";
    EXPECT_TRUE(blockedHard("npm", home / "store", LiveSafe::no, inside + held + ")"));
    EXPECT_TRUE(blockedHard("Ollama", home / "models", LiveSafe::yes, inside + mapped + ")"));
    EXPECT_FALSE(anyReasonHas(guardsNow("npm", home / "other", LiveSafe::no), "pid " + std::to_string(pid)));
}

TEST(CheckGuardsOnThisMachine, ARunningExecutableInsideBlocksHardEvenOnceDeleted) {
    testing::TempHome home;
    const std::string target = home / "toolchain";
    const std::string program = target + "/bin/sleeper";
    std::filesystem::create_directories(target + "/bin");
    std::filesystem::copy_file(std::filesystem::canonical("/bin/sleep"), program);
    ::chmod(program.c_str(), 0755);
    Child child(spawn({program, "30"}));
    ASSERT_GT(child.pid(), 0);
    const std::string expected =
        "a running process's binary lives inside this path (pid " + std::to_string(child.pid()) + ": " + program + ")";
    EXPECT_TRUE(blockedHard("npm", target, LiveSafe::yes, expected));
    std::filesystem::remove(program);
    EXPECT_TRUE(blockedHard("npm", target, LiveSafe::yes, expected)) << "a deleted executable keeps its path";
}

}  // namespace
}  // namespace kelvor
