#include "quillet/guards/guards.hpp"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <filesystem>
#include <fstream>
#include <thread>

#include "quillet/platform/home.hpp"
#include "tests/support/temp_home.hpp"

extern char** environ;

namespace kelvor {
namespace {


bool anyReasonHas(const std::vector<GuardViolation>& violations, const std::string& text) {
    return std::any_of(violations.begin(), violations.end(),
                       [&](const GuardViolation& v) { return v.reason.find(text) != std::string::npos; });
}

std::string reasons(const std::vector<GuardViolation>& violations) {
    std::string all;
    for (const GuardViolation& v : violations) all += v.reason + (v.hard ? " [hard]\n" : " [soft]\n");
    return all;
}

// --- checks on a presented process table ---------------------------------------------------------

TEST(CheckGuards, ARunningExecutableInsideTheTargetIsHardAndItsNeighbourIsNot) {
    const std::vector<Proc> procs = {{.pid = 41, .ppid = 1, .path = "/home/a/tools/bin/server", .args = "server"}};
    std::vector<GuardViolation> inside =
        checkGuards("npm", "/home/a/tools", procs, std::nullopt, LiveSafe::no, RecentWriteCheck::skip);
    ASSERT_EQ(inside.size(), 1u) << reasons(inside);
    EXPECT_TRUE(inside[0].hard);
    EXPECT_EQ(inside[0].reason, "a running process's binary lives inside this path (pid 41: /home/a/tools/bin/server)");
    EXPECT_TRUE(checkGuards("npm", "/home/a/tool", procs, std::nullopt, LiveSafe::no, RecentWriteCheck::skip).empty())
        << "a folder whose name is a prefix of the target's is another folder";
    EXPECT_FALSE(
        checkGuards("npm", "/home/a/tools/", procs, std::nullopt, LiveSafe::no, RecentWriteCheck::skip).empty())
        << "a trailing slash names the same folder";
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
    ASSERT_EQ(found.size(), 2u) << "one reason per process: " << reasons(found);
    auto anonymous = std::find_if(found.begin(), found.end(), [](const GuardViolation& v) { return v.hard; });
    ASSERT_NE(anonymous, found.end());
    EXPECT_EQ(anonymous->reason, "a process has a file open inside (pid 7: /home/a/.cache/store/a.bin)");
    auto app = std::find_if(found.begin(), found.end(), [](const GuardViolation& v) { return !v.hard; });
    ASSERT_NE(app, found.end());
    EXPECT_TRUE(app->quitFrees);
    EXPECT_EQ(app->reason, "VS Code has a file open inside (pid 8: /home/a/.cache/store/b.db) — quitting it frees this");

    const OpenFileIndex index(open);
    std::vector<GuardViolation> indexed =
        checkGuards("Cargo", "/home/a/.cache/store", procs, &index, LiveSafe::no, RecentWriteCheck::skip);
    EXPECT_EQ(reasons(indexed), reasons(found)) << "an index gives the same answer";

    EXPECT_TRUE(checkGuards("Cargo", "/home/a/.cache/store", procs, std::nullopt, LiveSafe::no, RecentWriteCheck::skip)
                    .empty())
        << "without open files gathered, that check is not run";
}

TEST(CheckGuards, TheOwnersAppRunningIsOneSoftReasonThatLiveSafeRulesIgnore) {
    const std::vector<Proc> procs = {
        {.pid = 100, .ppid = 1, .path = "/opt/google/chrome/chrome", .args = "/opt/google/chrome/chrome"},
        {.pid = 101, .ppid = 100, .path = "/opt/google/chrome/chrome", .args = "chrome --type=renderer"},
        {.pid = 102, .ppid = 100, .path = "/opt/google/chrome/chrome", .args = "chrome --type=gpu-process"},
    };
    std::vector<GuardViolation> found =
        checkGuards("Google Chrome", "/home/a/.cache/google-chrome", procs, std::nullopt, LiveSafe::no,
                    RecentWriteCheck::skip);
    ASSERT_EQ(found.size(), 1u) << reasons(found);
    EXPECT_EQ(found[0].reason, "the owning app is running (Google Chrome) — quit it first");
    EXPECT_FALSE(found[0].hard);
    EXPECT_TRUE(found[0].quitFrees);
    EXPECT_TRUE(checkGuards("Google Chrome", "/home/a/.cache/google-chrome", procs, std::nullopt, LiveSafe::yes,
                            RecentWriteCheck::skip)
                    .empty());
    EXPECT_TRUE(checkGuards("VS Code", "/home/a/.config/Code/Cache", procs, std::nullopt, LiveSafe::no,
                            RecentWriteCheck::skip)
                    .empty())
        << "another owner's app is no reason";
}

TEST(CheckGuards, AHelperInsideTheAppsBundleIsNamedAsSuchWhenTheAppItselfIsNotListed) {
    const std::string helper =
        "/Applications/Google Chrome.app/Contents/Frameworks/Google Chrome Framework.framework/Helpers/"
        "Google Chrome Helper.app/Contents/MacOS/Google Chrome Helper";
    std::vector<Proc> procs = {{.pid = 70, .ppid = 1, .path = helper, .args = "helper"}};
    std::vector<GuardViolation> found = checkGuards("Google Chrome", "/Users/a/Library/Caches/Google/Chrome", procs,
                                                    std::nullopt, LiveSafe::no, RecentWriteCheck::skip);
    ASSERT_EQ(found.size(), 1u) << reasons(found);
    EXPECT_EQ(found[0].reason, "a helper inside Google Chrome's own bundle is running (pid 70: " + helper +
                                   ") — quitting Google Chrome frees this");
    EXPECT_TRUE(found[0].quitFrees);

    procs.push_back({.pid = 71, .ppid = 1, .path = "/Applications/Google Chrome.app/Contents/MacOS/Google Chrome",
                     .args = "chrome"});
    found = checkGuards("Google Chrome", "/Users/a/Library/Caches/Google/Chrome", procs, std::nullopt, LiveSafe::no,
                        RecentWriteCheck::skip);
    ASSERT_EQ(found.size(), 1u) << "the app running is the one reason: " << reasons(found);
    EXPECT_EQ(found[0].reason, "the owning app is running (Google Chrome) — quit it first");
}

TEST(CheckGuards, AnOwnersToolAndItsHelpersAreSoftReasons) {
    const std::vector<Proc> procs = {
        {.pid = 20, .ppid = 1, .path = "/usr/bin/python3.11", .args = "python3 -m huggingface_hub download x"},
        {.pid = 30, .ppid = 1, .path = "/home/a/.local/bin/hf", .args = "/usr/bin/python3 /home/a/.local/bin/hf download m"},
        {.pid = 40, .ppid = 1, .path = "/usr/bin/vim", .args = "vim datasets"},
    };
    std::vector<GuardViolation> found = checkGuards("HuggingFace", "/home/a/.cache/huggingface", procs, std::nullopt,
                                                    LiveSafe::no, RecentWriteCheck::skip);
    EXPECT_EQ(found.size(), 2u) << reasons(found);
    EXPECT_TRUE(anyReasonHas(found, "HuggingFace is running (pid 20: "));
    EXPECT_TRUE(anyReasonHas(found, "HuggingFace is running (pid 30: /home/a/.local/bin/hf)"));
    EXPECT_FALSE(anyReasonHas(found, "pid 40")) << "an editor opening a file named like a library is not it";
    for (const GuardViolation& v : found) EXPECT_FALSE(v.hard) << v.reason;

    const std::vector<Proc> server = {
        {.pid = 50, .ppid = 1, .path = "/tmp/x/gradle", .args = "gradle build"},
        {.pid = 51, .ppid = 50, .path = "/tmp/x/gradle", .args = "gradle worker"},
    };
    std::vector<GuardViolation> withHelper =
        checkGuards("Gradle", "/home/a/.gradle/caches", server, std::nullopt, LiveSafe::no, RecentWriteCheck::skip);
    EXPECT_TRUE(anyReasonHas(withHelper, "a helper of Gradle is running (pid 51: /tmp/x/gradle)")) << reasons(withHelper);
}

TEST(CheckGuards, AnXcodebuildThatOnlyAnswersAQuestionDoesNotHoldXcodesStores) {
    std::vector<Proc> procs = {{.pid = 9, .ppid = 1, .path = "/Applications/Xcode.app/Contents/Developer/usr/bin/xcodebuild",
                                .args = "xcodebuild -version"}};
    EXPECT_TRUE(checkGuards("Xcode", "/Users/a/Library/Developer/Xcode/DerivedData", procs, std::nullopt, LiveSafe::no,
                            RecentWriteCheck::skip)
                    .empty());
    procs[0].args = "xcodebuild -scheme App build";
    EXPECT_FALSE(checkGuards("Xcode", "/Users/a/Library/Developer/Xcode/DerivedData", procs, std::nullopt, LiveSafe::no,
                             RecentWriteCheck::skip)
                     .empty());
}

TEST(CheckGuards, ABootedSimulatorIsMarkedSoThatQuittingTheOwnerIsNotOffered) {
    const std::vector<Proc> procs = {
        {.pid = 60, .ppid = 1,
         .path = "/Library/Developer/PrivateFrameworks/CoreSimulator.framework/Versions/A/XPCServices/sim",
         .args = "sim"}};
    std::vector<GuardViolation> found = checkGuards("Xcode", "/Users/a/Library/Developer/CoreSimulator/Devices",
                                                    procs, std::nullopt, LiveSafe::no, RecentWriteCheck::skip);
    ASSERT_EQ(found.size(), 1u) << reasons(found);
    EXPECT_TRUE(found[0].simulator);
    EXPECT_FALSE(found[0].quitFrees);
}

TEST(CheckGuards, ControlCharactersInAProcessPathAreEscaped) {
    const std::vector<Proc> procs = {{.pid = 3, .ppid = 1, .path = "/home/a/t/evil\n\x1b[2J", .args = "evil"}};
    std::vector<GuardViolation> found =
        checkGuards("npm", "/home/a/t", procs, std::nullopt, LiveSafe::no, RecentWriteCheck::skip);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].reason.find('\n'), std::string::npos) << found[0].reason;
    EXPECT_EQ(found[0].reason.find('\x1b'), std::string::npos) << found[0].reason;
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
        // The whole group: a script's own children would otherwise outlive the test and keep
        // its output open.
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

bool holds(pid_t pid, const std::string& path) {
    Result<std::vector<std::string>> open = ProcessTable::real().openFiles(pid);
    return open && std::find(open->begin(), open->end(), path) != open->end();
}

std::vector<GuardViolation> guardsNow(std::string_view owner, const std::string& target, LiveSafe liveSafe) {
    std::optional<std::vector<Proc>> procs = runningProcessesChecked();
    if (!procs) return {{.reason = "no process list", .hard = true}};
    std::vector<OpenFile> open = openHomeFiles(*procs);
    return checkGuards(owner, target, *procs, open, liveSafe, RecentWriteCheck::skip);
}

TEST(CheckGuardsOnThisMachine, AChildHoldingAFileOpenInsideBlocksItHard) {
    testing::TempHome home;
    const std::string target = home / "store";
    const std::string file = target + "/deep/held.bin";
    testing::writeFile(file, "x");
    Child child(spawn({"/bin/sh", "-c", "exec sleep 30 3<\"$0\"", file}));
    ASSERT_GT(child.pid(), 0);
    ASSERT_TRUE(eventually([&] { return holds(child.pid(), file); }));
    std::vector<GuardViolation> found = guardsNow("npm", target, LiveSafe::no);
    const std::string expected =
        "a process has a file open inside (pid " + std::to_string(child.pid()) + ": " + file + ")";
    auto hit = std::find_if(found.begin(), found.end(), [&](const GuardViolation& v) { return v.reason == expected; });
    ASSERT_NE(hit, found.end()) << reasons(found);
    EXPECT_TRUE(hit->hard);
    EXPECT_FALSE(anyReasonHas(guardsNow("npm", home / "other", LiveSafe::no), "pid " + std::to_string(child.pid())));
}

TEST(CheckGuardsOnThisMachine, AChildThatMapsAFileInsideBlocksIt) {
    testing::TempHome home;
    const std::string target = home / "models";
    const std::string file = target + "/weights.gguf";
    testing::writeFile(file, std::string(8192, 'w'));
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    pid_t pid = ::fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        // Only async-signal-safe calls here: map, close the descriptor, say so, wait to be killed.
        int fd = ::open(file.c_str(), O_RDONLY);
        void* map = fd < 0 ? MAP_FAILED : ::mmap(nullptr, 8192, PROT_READ, MAP_SHARED, fd, 0);
        if (fd >= 0) ::close(fd);
        char done = map == MAP_FAILED ? 'n' : 'y';
        (void)!::write(ready[1], &done, 1);
        for (;;) ::pause();
    }
    Child child(pid);
    ::close(ready[1]);
    char done = 0;
    ASSERT_EQ(::read(ready[0], &done, 1), 1);
    ::close(ready[0]);
    ASSERT_EQ(done, 'y');
    std::vector<GuardViolation> found = guardsNow("Ollama", target, LiveSafe::yes);
    const std::string expected = "a process has a file open inside (pid " + std::to_string(pid) + ": " + file + ")";
    EXPECT_TRUE(std::any_of(found.begin(), found.end(),
                            [&](const GuardViolation& v) { return v.reason == expected && v.hard; }))
        << reasons(found);
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
    auto runsProgram = [&] {
        std::optional<std::vector<Proc>> procs = runningProcessesChecked();
        return procs && std::any_of(procs->begin(), procs->end(),
                                    [&](const Proc& p) { return p.pid == child.pid() && p.path == program; });
    };
    ASSERT_TRUE(eventually(runsProgram));
    const std::string expected =
        "a running process's binary lives inside this path (pid " + std::to_string(child.pid()) + ": " + program + ")";
    std::vector<GuardViolation> found = guardsNow("npm", target, LiveSafe::yes);
    EXPECT_TRUE(std::any_of(found.begin(), found.end(),
                            [&](const GuardViolation& v) { return v.reason == expected && v.hard; }))
        << reasons(found);

    std::filesystem::remove(program);
    found = guardsNow("npm", target, LiveSafe::yes);
    EXPECT_TRUE(std::any_of(found.begin(), found.end(),
                            [&](const GuardViolation& v) { return v.reason == expected && v.hard; }))
        << "a deleted executable keeps its path: " << reasons(found);
}

TEST(CheckGuardsOnThisMachine, AScriptNamedLikeAnOwnersToolBlocksItsStoresSoftly) {
    testing::TempHome home;
    const std::string bin = home / "bin";
    testing::writeFile(bin + "/ollama", "#!/bin/sh\nsleep 30\nexit 0\n");
    ::chmod((bin + "/ollama").c_str(), 0755);
    home.setEnv("PATH", bin + ":" + environment("PATH"));
    Child child(spawn({"ollama"}));
    ASSERT_GT(child.pid(), 0);
    const std::string target = home / ".ollama/models";
    std::filesystem::create_directories(target);
    const std::string expected = "Ollama is running (pid " + std::to_string(child.pid()) + ": ";
    std::vector<GuardViolation> found;
    ASSERT_TRUE(eventually([&] {
        found = guardsNow("Ollama", target, LiveSafe::no);
        return anyReasonHas(found, expected);
    })) << reasons(found);
    for (const GuardViolation& v : found)
        if (v.reason.starts_with(expected)) {
            EXPECT_FALSE(v.hard);
            EXPECT_NE(v.reason.find(bin + "/ollama)"), std::string::npos) << "names the script: " << v.reason;
        }
    EXPECT_FALSE(anyReasonHas(guardsNow("Ollama", target, LiveSafe::yes), "pid " + std::to_string(child.pid())))
        << "a store that may go while its owner runs is not held by it";
    EXPECT_FALSE(anyReasonHas(guardsNow("npm", target, LiveSafe::no), expected)) << "nor is another owner's store";
}

}  // namespace
}  // namespace kelvor
