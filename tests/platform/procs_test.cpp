#include "quillet/platform/procs.hpp"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "quillet/platform/proc_text.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

TEST(ProcText, TheParentIsReadAfterTheLastClosingParenthesis) {
    struct Case {
        std::string stat;
        std::optional<std::int32_t> parent;
    };
    const Case cases[] = {
        {"1234 (bash) S 1000 1234 1234 34816", 1000},
        {"77 (Web Content) R 12 77 77 0", 12},
        {"88 (evil) S 1 2) S 4242 88 88 0", 4242},  // a name that ends like a stat line
        {"99 ((sd-pam)) S 1 99 99 0", 1},
        {"5 () Z 3 5 5 0", 3},
        {"12 (kthreadd) S 0 0 0 0", 0},
        {"12 (no close S 1 2", std::nullopt},
        {"12 (x) S", std::nullopt},
        {"12 (x) S abc 1", std::nullopt},
        {"12 (x) S 12abc 1", std::nullopt},
        {"12 (x) S -20 101 0", std::nullopt},  // no process has a negative pid
        {"", std::nullopt},
    };
    for (const Case& c : cases) EXPECT_EQ(parentPidFromStat(c.stat), c.parent) << c.stat;
}

TEST(ProcText, ArgumentsAreJoinedByBlanks) {
    using namespace std::string_literals;
    EXPECT_EQ(argsFromCmdline("python3\0-m\0huggingface_hub\0"s), "python3 -m huggingface_hub");
    EXPECT_EQ(argsFromCmdline("/usr/bin/ollama\0serve"s), "/usr/bin/ollama serve") << "no trailing NUL";
    EXPECT_EQ(argsFromCmdline("a\0\0b\0"s), "a  b") << "an empty argument keeps its place";
    EXPECT_EQ(argsFromCmdline(""), "");
}

TEST(ProcText, ADeletedExecutableIsNotedAndItsPathKept) {
    ExecutablePath gone = executableFromLink("/opt/tool/bin/server (deleted)");
    EXPECT_EQ(gone.path, "/opt/tool/bin/server");
    EXPECT_TRUE(gone.deleted);
    ExecutablePath present = executableFromLink("/opt/my (deleted) tool/bin/server");
    EXPECT_EQ(present.path, "/opt/my (deleted) tool/bin/server");
    EXPECT_FALSE(present.deleted);
}

TEST(ProcText, OnlyFilesCountAsOpenFiles) {
    EXPECT_EQ(openFileFromLink("/home/a/.cache/model.bin"), "/home/a/.cache/model.bin");
    EXPECT_EQ(openFileFromLink("/home/a/old.log (deleted)"), "/home/a/old.log");
    for (std::string_view other : {"socket:[12345]", "pipe:[99]", "anon_inode:[eventfd]", ""})
        EXPECT_EQ(openFileFromLink(other), std::nullopt) << other;
}

TEST(ProcText, MappedFilesAreTakenFromMapsLines) {
    struct Case {
        std::string line;
        std::optional<std::string> path;
    };
    const Case cases[] = {
        {"7f1c2a000000-7f1c2b000000 r--s 00000000 08:01 1234    /home/a/.ollama/models/blobs/sha256-x\n",
         "/home/a/.ollama/models/blobs/sha256-x"},
        {"7f00-7f10 r--p 00001000 fd:00 99 /home/a/my models/w e.bin", "/home/a/my models/w e.bin"},
        {"7f00-7f10 r--p 00000000 fd:00 99 /home/a/old.bin (deleted)", "/home/a/old.bin"},
        {"55d0-55f0 rw-p 00000000 00:00 0                          [heap]", std::nullopt},
        {"7ffd-7ffe rw-p 00000000 00:00 0", std::nullopt},
        {"garbage", std::nullopt},
        {"", std::nullopt},
    };
    for (const Case& c : cases) EXPECT_EQ(mappedFileFromMapsLine(c.line), c.path) << c.line;
}

TEST(ProcText, HidepidIsReadFromTheProcMountsOptions) {
    const std::string plain = "22 1 0:21 / /proc rw,nosuid,nodev,noexec,relatime shared:12 - proc proc rw\n";
    const std::string hidden =
        "25 1 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw\n"
        "22 1 0:21 / /proc rw,nosuid,nodev,noexec,relatime shared:12 - proc proc rw,hidepid=invisible,gid=4\n";
    EXPECT_FALSE(procMountHidesOthers(plain));
    EXPECT_TRUE(procMountHidesOthers(hidden));
    EXPECT_TRUE(procMountHidesOthers("22 1 0:21 / /proc rw - proc proc rw,hidepid=2"));
    EXPECT_FALSE(procMountHidesOthers("22 1 0:21 / /proc rw - proc proc rw,hidepid=0"));
    EXPECT_FALSE(procMountHidesOthers("30 1 0:40 / /srv rw - ext4 /dev/x rw,hidepid=2")) << "not the proc file system";
    EXPECT_FALSE(procMountHidesOthers(""));
}

TEST(ProcessTable, TheRealTableListsThisProcessWithItsParent) {
    Result<std::vector<Proc>> listed = ProcessTable::real().list();
    ASSERT_TRUE(listed.ok()) << listed.error().describe();
    auto self = std::find_if(listed->begin(), listed->end(), [](const Proc& p) { return p.pid == ::getpid(); });
    ASSERT_NE(self, listed->end());
    EXPECT_EQ(self->ppid, ::getppid());
    EXPECT_EQ(self->path, std::filesystem::read_symlink("/proc/self/exe").string());
    EXPECT_FALSE(self->pathDeleted);
    EXPECT_NE(self->args.find("kelvor_tests"), std::string::npos) << self->args;
    auto parent = std::find_if(listed->begin(), listed->end(), [](const Proc& p) { return p.pid == ::getppid(); });
    EXPECT_NE(parent, listed->end()) << "the parent is listed too";
    EXPECT_EQ(self->uid, static_cast<std::int64_t>(::getuid()));
}

TEST(ProcessTable, TheRealTableAsksAProcessToQuit) {
    pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        for (;;) ::pause();
    }
    Result<void> asked = ProcessTable::real().terminate(child);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(asked.ok()) << asked.error().describe();
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
}

TEST(ProcessTable, TheRealTableShowsFilesHeldOpenOrMappedWithoutADescriptor) {
    testing::TempHome home;
    const std::string held = home / "held open", mapped = home / "weights.bin";
    testing::writeFile(held, "x");
    testing::writeFile(mapped, std::string(4096, 'w'));
    int descriptor = ::open(mapped.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(descriptor, 0);
    void* map = ::mmap(nullptr, 4096, PROT_READ, MAP_SHARED, descriptor, 0);
    ::close(descriptor);
    ASSERT_NE(map, MAP_FAILED);
    descriptor = ::open(held.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(descriptor, 0);
    ProcessTableWrapper wrapper(ProcessTable::real());  // a wrapper reaches the system for what it leaves alone
    Result<std::vector<std::string>> open = wrapper.openFiles(::getpid());
    ::close(descriptor);
    ::munmap(map, 4096);
    ASSERT_TRUE(open.ok()) << open.error().describe();
    EXPECT_EQ(std::count(open->begin(), open->end(), held), 1);
    EXPECT_EQ(std::count(open->begin(), open->end(), mapped), 1) << "listed once";
    Result<std::vector<std::string>> closed = ProcessTable::real().openFiles(::getpid());
    ASSERT_TRUE(closed.ok());
    EXPECT_EQ(std::count(closed->begin(), closed->end(), held) + std::count(closed->begin(), closed->end(), mapped), 0);
}

}  // namespace
}  // namespace kelvor
