// The clean as a person runs it: the real binary on a home folder made by the test.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <thread>

#include "tests/support/run_kelvor.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using testing::TempHome;
using testing::writeFile;

const std::vector<std::string> ENGLISH = {"LANG=C", "LANGUAGE=", "LC_ALL=", "SHELL=/nonexistent", "HF_HOME=",
                                          "npm_config_cache="};

// Sets every time in the tree three hours back, so the recent-write guard leaves it alone.
void ageTree(const std::string& root) {
    auto old = fs::file_time_type::clock::now() - std::chrono::hours(3);
    for (const auto& entry : fs::recursive_directory_iterator(root))
        if (!entry.is_symlink()) fs::last_write_time(entry.path(), old);
    fs::last_write_time(root, old);
}

// The plan line that ends with " <path>", or "" when there is none.
std::string planLine(const std::string& plan, const std::string& path) {
    size_t end = plan.find(" " + path + "\n");
    if (end == std::string::npos) return "";
    size_t start = plan.rfind('\n', end) + 1;
    return plan.substr(start, end - start);
}

void makeStores(TempHome& home) {
    writeFile(home / ".cache/huggingface/hub/models--tiny/blobs/b", std::string(5000, 'b'));
    writeFile(home / ".npm/_cacache/content-v2/sha512/x", std::string(12345, 'n'));
    writeFile(home / ".cache/JetBrains/IdeaIC2024.3/index", std::string(100, 'j'));
    for (const char* tree : {".cache/huggingface", ".npm", ".cache/JetBrains"}) ageTree(home / tree);
}

TEST(RunClean, ADryRunListsTheVerifiedStoresAndMovesNothing) {
    TempHome home;
    makeStores(home);
    auto run = testing::runKelvorBinary({"--mode", "clean"}, ENGLISH);
    EXPECT_EQ(run.status, 0) << run.err;
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
    for (int i = 0; i < 200; ++i) {
        bool open = false;
        std::error_code error;
        for (const auto& fd : fs::directory_iterator("/proc/" + std::to_string(holder) + "/fd", error))
            if (fs::read_symlink(fd.path(), error) == held) open = true;
        if (open) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    auto run = testing::runKelvorBinary({"--mode", "clean", "--apply", "--yes", "--force", "--owner", "NPM"}, ENGLISH);
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
    auto run = testing::runKelvorBinary({"--mode", "clean", "--apply", "--yes"}, ENGLISH);
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.out.find("  ⚠ the undo record cannot be written — nothing was moved. Check that the undo folder is "
                           "writable and the disk has room.\n"),
              std::string::npos)
        << run.out;
    EXPECT_TRUE(fs::exists(home / ".npm/_cacache/content-v2/sha512/x"));
    EXPECT_TRUE(fs::exists(home / ".cache/huggingface/hub/models--tiny/blobs/b"));
    EXPECT_EQ(fs::file_size(home / ".kelvor/reserve.bin"), 1024u * 1024u) << "the reserve is made whole again";
}

// Every entry below `root` (bytes, mode and modification time), for a before-and-after comparison.
std::map<std::string, std::string> treeState(const std::string& root) {
    std::map<std::string, std::string> state;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        struct stat info {};
        ::lstat(entry.path().c_str(), &info);
        std::string bytes = entry.is_regular_file() ? testing::readFile(entry.path()) : "";
        state[entry.path()] = std::to_string(info.st_mode) + " " + std::to_string(info.st_mtim.tv_sec) + "." +
                              std::to_string(info.st_mtim.tv_nsec) + " " + bytes;
    }
    return state;
}

TEST(RunClean, ApplyMovesVerifiedStoresToTheTrashUnverifiedToTheQuarantineAndUndoBringsEveryByteBack) {
    TempHome home;
    makeStores(home);
    ::chmod((home / ".npm/_cacache/content-v2/sha512/x").c_str(), 0640);
    auto before = treeState(home / ".npm");
    auto hfBefore = treeState(home / ".cache/huggingface");
    auto run = testing::runKelvorBinary({"--mode", "clean", "--apply", "--yes", "--include-unverified"}, ENGLISH);
    EXPECT_EQ(run.status, 0) << run.out << run.err;
    EXPECT_FALSE(fs::exists(home / ".npm/_cacache")) << run.out;
    EXPECT_FALSE(fs::exists(home / ".cache/huggingface/hub")) << run.out;
    EXPECT_TRUE(fs::exists(home / ".cache/JetBrains/IdeaIC2024.3/index")) << "tier C never moves";
    EXPECT_FALSE(fs::is_empty(home / ".local/share/Trash/files")) << run.out;
    EXPECT_NE(run.out.find("  undo record: " + (home / ".kelvor/undo/")), std::string::npos) << run.out;

    auto undo = testing::runKelvorBinary({"--undo"}, ENGLISH);
    EXPECT_EQ(undo.status, 0) << undo.out;
    EXPECT_EQ(treeState(home / ".npm"), before) << undo.out;
    EXPECT_EQ(treeState(home / ".cache/huggingface"), hfBefore) << undo.out;
    auto again = testing::runKelvorBinary({"--mode", "clean", "--undo", "last"}, ENGLISH);
    EXPECT_EQ(again.status, 0);
    EXPECT_TRUE(again.out.starts_with("Already undone:")) << again.out;
}

TEST(RunClean, UndoWithoutARecordSaysSoAndEndsNonZeroEitherWayItIsAsked) {
    TempHome home;
    for (const auto& args : {std::vector<std::string>{"--undo"}, std::vector<std::string>{"--mode", "clean", "--undo", "last"}}) {
        auto run = testing::runKelvorBinary(args, ENGLISH);
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.out, "No undo manifest (" + (home / ".kelvor/undo") + ")\n") << run.out;
    }
}

}  // namespace
}  // namespace kelvor
