#include <unistd.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "quillet/guards/guards.hpp"
#include "quillet/platform/our_spawns.hpp"
#include "tests/guards/fake_process_table.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

using testing::FakeProcessTable;

TEST(RunningProcesses, AnUnreadableOrEmptyTableGivesNoListAtAll) {
    FakeProcessTable table;
    table.procs = std::nullopt;
    EXPECT_EQ(runningProcessesChecked(table), std::nullopt);
    table.procs = std::vector<Proc>{};
    EXPECT_EQ(runningProcessesChecked(table), std::nullopt) << "a table without even this process is not believed";
    EXPECT_EQ(cannotSeeProcessesNote(), "cannot tell what is running on this computer right now — nothing was touched");
}

TEST(RunningProcesses, KelvorsOwnProcessesAndTheOnesItStartedAreLeftOut) {
    FakeProcessTable table;
    const std::int32_t self = ::getpid();
    table.procs = std::vector<Proc>{
        {.pid = self, .ppid = 1, .path = "/x/kelvor_tests", .args = "kelvor_tests"},
        {.pid = 900001, .ppid = 1, .path = "/usr/local/bin/kelvor", .args = "kelvor --mode serve"},
        {.pid = 900002, .ppid = 1, .path = "", .args = "/opt/k/kelvor --mode clean --apply"},
        {.pid = 900003, .ppid = self, .path = "/bin/bash", .args = "bash -lic env"},
        {.pid = 900004, .ppid = 1, .path = "/usr/bin/ollama", .args = "ollama serve"},
        {.pid = 900005, .ppid = 1, .path = "/usr/bin/vim", .args = "vim kelvor --mode"},
    };
    OurSpawns::add(900003);
    std::optional<std::vector<Proc>> procs = runningProcessesChecked(table);
    OurSpawns::remove(900003);
    ASSERT_TRUE(procs.has_value());
    std::vector<std::int32_t> pids;
    for (const Proc& p : *procs) pids.push_back(p.pid);
    EXPECT_EQ(pids, (std::vector<std::int32_t>{900004, 900005})) << "editing a file called kelvor is not kelvor";
}

TEST(RunningProcesses, HiddenProcessesAreSaidInsteadOfTrusted) {
    FakeProcessTable table;
    table.procs = std::vector<Proc>{{.pid = 1, .ppid = 0, .path = "/sbin/init", .args = "init"}};
    EXPECT_EQ(hiddenProcessesNote(table), std::nullopt);
    table.hidden = true;
    std::optional<std::string> note = hiddenProcessesNote(table);
    ASSERT_TRUE(note.has_value());
    EXPECT_NE(note->find("hidepid"), std::string::npos) << *note;
}

TEST(OpenHomeFiles, KeepsFilesUnderTheHomeFolderOnceSortedAndSkipsUnreadableProcesses) {
    testing::TempHome home;
    FakeProcessTable table;
    std::vector<Proc> procs(3);
    for (std::int32_t i = 0; i < 3; ++i) procs[i].pid = 5 + i;
    table.open[5] = {home / "b.db", home / "a.log", "/usr/lib/libc.so.6", home.path() + "-sibling/x", home / "a.log"};
    table.open[6] = {home / "a.log"};
    // pid 7's table cannot be read: it is skipped, not an error.
    std::vector<OpenFile> files = openHomeFiles(procs, table);
    ASSERT_EQ(files.size(), 3u);
    EXPECT_EQ(files[0].path, home / "a.log");
    EXPECT_EQ(files[0].pid, 5);
    EXPECT_EQ(files[1].path, home / "a.log");
    EXPECT_EQ(files[1].pid, 6);
    EXPECT_EQ(files[2].path, home / "b.db");
    // A home reached through a link: the kernel shows the real path, a target may use either.
    const std::string real = std::filesystem::canonical(home.path()).string();
    std::filesystem::create_directory_symlink(real, home / "linked");
    home.setEnv("HOME", home / "linked");
    table.open[5] = {real + "/c.bin", "/elsewhere/c.bin"};
    table.open[6] = {};
    std::multiset<std::string> paths;
    for (const OpenFile& f : openHomeFiles(procs, table)) paths.insert(f.path);
    EXPECT_EQ(paths, (std::multiset<std::string>{real + "/c.bin", home / "linked/c.bin"}));
    home.setEnv("HOME", "/");
    EXPECT_TRUE(openHomeFiles(procs, table).empty()) << "a home of \"/\" would hold every file";
}

}  // namespace
}  // namespace kelvor
