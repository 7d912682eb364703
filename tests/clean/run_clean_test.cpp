// The clean as a person runs it: the real binary on a home folder made by the test.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <thread>

#include "quillet/log/log.hpp"
#include "quillet/platform/login_shell.hpp"
#include "tests/clean/clean_fixture.hpp"
#include "tests/support/aged_tree.hpp"
#include "tests/support/disk_usage.hpp"
#include "tests/support/run_kelvor.hpp"

namespace kelvor {
namespace {

using testing::ageTree;
namespace fs = std::filesystem;
using namespace kelvor::testing;

RunOutput clean(const std::vector<std::string>& extra = {}, const std::vector<std::string>& environment = ENGLISH) {
    std::vector<std::string> args = {"--mode", "clean"};
    args.insert(args.end(), extra.begin(), extra.end());
    return runKelvorBinary(args, environment);
}

// Sets every time in the tree three hours back, so the recent-write guard leaves it alone.
// A Hugging Face and an npm store (tiers A and B) and a JetBrains cache (tier C).
void makeStores(TempHome& home, bool aged = true) {
    writeFile(home / ".cache/huggingface/hub/models--tiny/blobs/b", std::string(5000, 'b'));
    writeFile(home / ".npm/_cacache/content-v2/sha512/x", std::string(12345, 'n'));
    writeFile(home / ".cache/JetBrains/IdeaIC2024.3/index", std::string(100, 'j'));
    if (aged)
        for (const char* tree : {".cache/huggingface", ".npm", ".cache/JetBrains"}) ageTree(home / tree);
}

// The plan line that ends with " <path>", or "" when there is none.
std::string planLine(const std::string& plan, const std::string& path) {
    size_t end = plan.find(" " + path + "\n");
    if (end == std::string::npos) return "";
    size_t start = plan.rfind('\n', end) + 1;
    return plan.substr(start, end - start);
}

TEST(RunClean, ADryRunMeasuresTheVerifiedStoresShowsTheRestAndMovesNothing) {
    TempHome home;
    makeStores(home, false);
    fs::create_hard_link(home / ".cache/huggingface/hub/models--tiny/blobs/b",
                         home / ".cache/huggingface/hub/models--tiny/blobs/b-again");
    auto fresh = clean();
    EXPECT_EQ(fresh.status, 0) << fresh.err;
    EXPECT_TRUE(fresh.out.starts_with("Clean plan — targets: (verified only)\n")) << fresh.out;
    for (const char* store : {".cache/huggingface/hub", ".npm/_cacache"}) {
        std::string row = planLine(fresh.out, home / store);
        ASSERT_NE(row, "") << store << "\n" << fresh.out;
        double shown = 0;
        char unit[4] = {};
        ASSERT_EQ(std::sscanf(row.c_str() + row.find("· "), "%*[^0-9]%lf %3s", &shown, unit), 2) << row;
        EXPECT_STREQ(unit, "KB") << row;
        EXPECT_NEAR(shown, static_cast<double>(allocatedBytesBelow(home / store)) / 1000.0, 0.05) << row;
    }
    // Written a moment ago, the stores are blocked by the recent-write guard: the closing line says
    // how to force them.
    EXPECT_NE(fresh.out.find("dry-run — nothing moved. Run with --apply --yes, force blocked items with --apply "
                             "--yes --force\n"),
              std::string::npos)
        << fresh.out;
    EXPECT_TRUE(fresh.err.empty()) << "no progress line when standard error is not a terminal";
    auto applyOnly = clean({"--apply"});
    EXPECT_TRUE(applyOnly.out.starts_with("--apply without --yes: showing the plan only")) << applyOnly.out;
    for (const char* tree : {".cache/huggingface", ".npm", ".cache/JetBrains"}) ageTree(home / tree);
    auto run = clean();
    size_t leftAlone = run.out.find("Not offered — yours to judge, or protected:");
    EXPECT_EQ(run.out.find("guard-blocked"), std::string::npos) << run.out;
    for (const char* store : {".cache/huggingface/hub", ".npm/_cacache"}) {
        std::string line = planLine(run.out, home / store);
        EXPECT_TRUE(line.starts_with("  [A] ") || line.starts_with("  [B] ")) << store << "\n" << run.out;
        EXPECT_LT(run.out.find(home / store), leftAlone) << run.out;
    }
    EXPECT_GT(run.out.find(home / ".cache/JetBrains"), leftAlone) << "tier C is shown, never planned\n" << run.out;
    EXPECT_TRUE(run.out.ends_with("dry-run — nothing moved. Run with --apply --yes\n")) << run.out;
    EXPECT_TRUE(fs::exists(home / ".npm/_cacache/content-v2/sha512/x"));
    EXPECT_FALSE(fs::exists(home / ".kelvor/undo")) << "a dry run writes no record";
}

TEST(RunClean, AnEmptyHomeHasNothingToCleanOrUndoAndAnUnreadableExclusionListEndsNonZero) {
    TempHome home;
    auto empty = clean();
    EXPECT_EQ(empty.status, 0);
    EXPECT_EQ(empty.out, "Clean plan — targets: (verified only)\nNothing to clean.\n");
    for (const auto& args : {std::vector<std::string>{"--undo"}, std::vector<std::string>{"--mode", "clean", "--undo", "last"}}) {
        auto undo = runKelvorBinary(args, ENGLISH);
        EXPECT_EQ(undo.status, 1);
        EXPECT_EQ(undo.out, "No undo manifest (" + (home / ".kelvor/undo") + ")\n");
    }
    writeFile(home / ".kelvor/excluded.json", "[not json");
    auto broken = clean();
    EXPECT_EQ(broken.status, 1);
    EXPECT_NE(broken.err.find("the exclusion list " + (home / ".kelvor/excluded.json") + " exists but could not be read"),
              std::string::npos)
        << broken.err;
}

TEST(RunClean, AStoreHeldOpenByAnotherProgramStaysEvenWithForce) {
    TempHome home;
    makeStores(home);
    std::string held = home / ".npm/_cacache/content-v2/sha512/x";
    pid_t holder = ::fork();
    ASSERT_GE(holder, 0);
    if (holder == 0) {
        ::execl("/bin/sh", "sh", "-c", ("exec 3<'" + held + "'; exec sleep 30").c_str(), nullptr);
        ::_exit(127);
    }
    // Wait until the file is open in the holder.
    bool open = false;
    for (int tries = 0; tries < 200 && !open; ++tries) {
        std::error_code error;
        for (const auto& fd : fs::directory_iterator("/proc/" + std::to_string(holder) + "/fd", error))
            open = open || fs::read_symlink(fd.path(), error) == held;
        if (!open) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    auto run = clean({"--apply", "--yes", "--force", "--owner", "NPM"});
    ::kill(holder, SIGKILL);
    ::waitpid(holder, nullptr, 0);
    size_t blocked = run.out.find("   guard-blocked:\n");
    ASSERT_NE(blocked, std::string::npos) << run.out;
    size_t line = run.out.find(" " + (home / ".npm/_cacache") + "\n", blocked);
    ASSERT_NE(line, std::string::npos) << "--owner matches the owner whatever its case\n" << run.out;
    size_t reason = run.out.find("     ⛔ ", line);
    ASSERT_NE(reason, std::string::npos) << run.out;
    std::string reasonLine = run.out.substr(reason, run.out.find('\n', reason) - reason);
    EXPECT_NE(reasonLine.find(std::to_string(holder)), std::string::npos) << reasonLine;
    EXPECT_TRUE(reasonLine.ends_with("(--force does not override this one)")) << reasonLine;
    EXPECT_NE(run.out.find("  (blocked 1, failed 0)"), std::string::npos) << run.out;
    EXPECT_TRUE(fs::exists(held));
    EXPECT_TRUE(fs::exists(home / ".cache/huggingface/hub/models--tiny/blobs/b")) << "--owner took only npm";
}

TEST(RunClean, NothingMovesWhenTheUndoFolderCannotBeWritten) {
    TempHome home;
    makeStores(home);
    writeFile(home / ".kelvor/undo", "a file where the undo folder belongs");
    auto run = clean({"--apply", "--yes"});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.out.find("  ⚠ the undo record cannot be written — nothing was moved. Check that the undo folder is "
                           "writable and the disk has room.\n"),
              std::string::npos)
        << run.out;
    EXPECT_TRUE(fs::exists(home / ".npm/_cacache/content-v2/sha512/x"));
    EXPECT_TRUE(fs::exists(home / ".cache/huggingface/hub/models--tiny/blobs/b"));
    EXPECT_EQ(fs::file_size(home / ".kelvor/reserve.bin"), 1024u * 1024u) << "the reserve is made whole again";
}

TEST(RunClean, ApplyMovesVerifiedStoresToTheTrashUnverifiedToTheQuarantineAndUndoBringsEveryByteBack) {
    TempHome home;
    makeStores(home);
    ::chmod((home / ".npm/_cacache/content-v2/sha512/x").c_str(), 0640);
    TreeState npm = snapshotTree(home / ".npm");
    auto run = clean({"--apply", "--yes", "--include-unverified"});
    EXPECT_EQ(run.status, 0) << run.out << run.err;
    EXPECT_FALSE(fs::exists(home / ".npm/_cacache")) << run.out;
    EXPECT_FALSE(fs::exists(home / ".cache/huggingface/hub")) << run.out;
    EXPECT_TRUE(fs::exists(home / ".cache/JetBrains/IdeaIC2024.3/index")) << "tier C never moves";
    EXPECT_FALSE(fs::is_empty(home / ".local/share/Trash/files")) << run.out;
    EXPECT_NE(run.out.find("  undo record: " + (home / ".kelvor/undo/")), std::string::npos) << run.out;
    auto undo = runKelvorBinary({"--undo"}, ENGLISH);
    EXPECT_EQ(undo.status, 0) << undo.out;
    EXPECT_EQ(snapshotTree(home / ".npm"), npm) << undo.out;
}

// True while any process still runs with `marker` in its command line.
bool anyProcessCarries(const std::string& marker) {
    for (const auto& entry : fs::directory_iterator("/proc")) {
        std::string command = readFile(entry.path() / "cmdline");
        std::replace(command.begin(), command.end(), '\0', ' ');
        if (command.find(marker) != std::string::npos) return true;
    }
    return false;
}

TEST(RunClean, AStubbornLoginProfileNeitherHoldsTheRunNorOutlivesIt) {
    TempHome home;
    const std::string marker = "kelvor-profile-job-" + std::to_string(::getpid());
    std::string job = home / marker;
    writeFile(job, "#!/bin/sh\nsleep 20\n");
    fs::permissions(job, fs::perms::owner_all);
    struct Case {
        std::string what, profile, logged;
    };
    const Case cases[] = {
        {"sleeps after closing its output", "exec >&-\n'" + job + "'\n", "not read — timed out"},
        {"starts a background job", "'" + job + "' &\nprintf 'PIXI_HOME=/pixi\\0'\n", "1 relocation variable(s)"},
        {"prints without end", "yes PIXI_HOME=/pixi\n", "not read — too much output"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        std::string shell = home / "shell";
        writeFile(shell, "#!/bin/sh\n" + c.profile);
        fs::permissions(shell, fs::perms::owner_all);
        auto started = std::chrono::steady_clock::now();
        auto run = clean({}, {"LANG=C", "LANGUAGE=", "SHELL=" + shell, "PIXI_HOME="});
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_LT(std::chrono::steady_clock::now() - started, LOGIN_SHELL_TIME_LIMIT + std::chrono::seconds(1));
        for (int tries = 0; tries < 100 && anyProcessCarries(marker); ++tries)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        EXPECT_FALSE(anyProcessCarries(marker)) << "the profile's processes ended with the read";
        std::string log = readFile(KelvorLog::logPath());
        EXPECT_NE(log.find("login shell " + shell + ": " + c.logged), std::string::npos) << log;
        fs::remove(KelvorLog::logPath());
    }
}

}  // namespace
}  // namespace kelvor
