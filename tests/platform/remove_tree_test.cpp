#include <gtest/gtest.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <optional>

#include "quillet/platform/remove_tree.hpp"
#include "tests/support/scoped_mount.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using testing::ScopedMount;
using testing::TempHome;

// The default soft limit of open files while it lives.
class DefaultOpenFileLimit {
public:
    DefaultOpenFileLimit() {
        ::getrlimit(RLIMIT_NOFILE, &saved_);
        rlimit lowered = saved_;
        lowered.rlim_cur = std::min<rlim_t>(1024, saved_.rlim_max);
        ::setrlimit(RLIMIT_NOFILE, &lowered);
    }
    ~DefaultOpenFileLimit() { ::setrlimit(RLIMIT_NOFILE, &saved_); }

private:
    rlimit saved_{};
};

TEST(RemoveTree, RemovesATwentyThousandLevelEntryWithTheDefaultOpenFileLimit) {
    TempHome home;
    fs::create_directories(home / "Trash");
    // In memory where the test may mount: 40,000 metadata changes on a busy disk take minutes.
    std::optional<ScopedMount> memory;
    if (::geteuid() == 0) memory.emplace(ScopedMount::tmpfs(home / "Trash"));
    fs::create_directories(home / "Trash/files/deep");
    // 20,000 nested folders "d" with a file at the bottom, made through descriptors: the deepest
    // path is far longer than any path the system accepts.
    int fd = ::open((home / "Trash/files/deep").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    for (int level = 0; fd >= 0 && level < 20000; ++level) {
        int next = ::mkdirat(fd, "d", 0700) == 0 ? ::openat(fd, "d", O_RDONLY | O_DIRECTORY | O_CLOEXEC) : -1;
        ::close(fd);
        fd = next;
    }
    ASSERT_GE(fd, 0);
    int bottom = ::openat(fd, "bottom.txt", O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    ::close(fd);
    ASSERT_GE(bottom, 0);
    ::close(bottom);
    DefaultOpenFileLimit limit;
    Result<TreeRemoval> removed = removeTreeForGood(home / "Trash/files", "deep");
    ASSERT_TRUE(removed) << removed.error().describe();
    EXPECT_TRUE(removed->gone);
    EXPECT_FALSE(removed->firstFailure);
    EXPECT_FALSE(fs::exists(home / "Trash/files/deep"));
    EXPECT_TRUE(fs::exists(home / "Trash/files"));
}

TEST(RemoveTree, RemovesLinksAsLinksAndReportsWhatCouldNotGo) {
    TempHome home;
    testing::writeFile(home / "keep/precious.txt", "mine");
    testing::writeFile(home / "Trash/entry/a/b.txt", "b");
    fs::create_directory_symlink(home / "keep", home / "Trash/entry/a/link");
    Result<TreeRemoval> removed = removeTreeForGood(home / "Trash", "entry");
    ASSERT_TRUE(removed);
    EXPECT_TRUE(removed->gone);
    EXPECT_EQ(testing::readFile(home / "keep/precious.txt"), "mine");
    Result<TreeRemoval> missing = removeTreeForGood(home / "Trash", "entry");
    EXPECT_FALSE(missing) << "nothing there to remove";
    fs::create_directory_symlink(home / "keep", home / "linked-trash");
    EXPECT_FALSE(removeTreeForGood(home / "linked-trash", "precious.txt")) << "a link in the parent path";
    EXPECT_TRUE(fs::exists(home / "keep/precious.txt"));
}

TEST(RemoveTree, LeavesAnotherFileSystemAloneWhereverItIsMounted) {
    if (::geteuid() != 0) GTEST_SKIP() << "mounting needs root";
    TempHome home;
    fs::create_directories(home / "Trash/entry/disk");
    fs::create_directories(home / "Trash/top");
    testing::writeFile(home / "Trash/entry/junk", "j");
    std::optional<ScopedMount> inner, whole;
    inner.emplace(ScopedMount::tmpfs(home / "Trash/entry/disk"));
    whole.emplace(ScopedMount::tmpfs(home / "Trash/top"));
    ASSERT_TRUE(inner->mounted() && whole->mounted());
    testing::writeFile(home / "Trash/entry/disk/kept.txt", "k");
    testing::writeFile(home / "Trash/top/kept.txt", "k");
    Result<TreeRemoval> removed = removeTreeForGood(home / "Trash", "entry");
    ASSERT_TRUE(removed);
    EXPECT_FALSE(removed->gone);
    EXPECT_EQ(removed->leftAlone, std::vector<std::string>{home / "Trash/entry/disk"});
    EXPECT_TRUE(fs::exists(home / "Trash/entry/disk/kept.txt"));
    EXPECT_FALSE(fs::exists(home / "Trash/entry/junk"));
    Result<TreeRemoval> mounted = removeTreeForGood(home / "Trash", "top");
    ASSERT_TRUE(mounted);
    EXPECT_FALSE(mounted->gone) << "an entry that is itself a mount is not the Trash's to empty";
    EXPECT_TRUE(fs::exists(home / "Trash/top/kept.txt"));
}

}  // namespace
}  // namespace kelvor
