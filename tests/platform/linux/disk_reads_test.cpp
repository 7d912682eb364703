#include "quillet/platform/disk_reads.hpp"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

TEST(DiskReads, ReadingAFileDroppedFromTheCacheCountsAndReadingItAgainDoesNot) {
    testing::TempHome home;
    const std::string path = home / "data";
    struct statfs where {};
    ASSERT_EQ(::statfs(home.path().c_str(), &where), 0);
    if (where.f_type == TMPFS_MAGIC || where.f_type == RAMFS_MAGIC) GTEST_SKIP() << "a file system in memory reads no disk";
    const std::vector<char> bytes(4 << 20, 'k');
    const int out = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    ASSERT_GE(out, 0);
    ASSERT_EQ(::write(out, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    ASSERT_EQ(::fsync(out), 0);
    ::close(out);
    auto readAll = [&] {
        const int in = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        ASSERT_GE(in, 0);
        std::vector<char> buffer(1 << 20);
        while (::read(in, buffer.data(), buffer.size()) > 0) {
        }
        ::close(in);
    };
    const int drop = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(drop, 0);
    ASSERT_EQ(::posix_fadvise(drop, 0, 0, POSIX_FADV_DONTNEED), 0);
    ::close(drop);
    const std::optional<std::uint64_t> before = bytesReadFromDisk();
    ASSERT_TRUE(before) << "Linux keeps the count in /proc/self/io";
    readAll();
    const std::optional<std::uint64_t> afterCold = bytesReadFromDisk();
    ASSERT_TRUE(afterCold);
    EXPECT_GE(*afterCold - *before, bytes.size() / 2) << "the data came from the disk";
    readAll();
    const std::optional<std::uint64_t> afterWarm = bytesReadFromDisk();
    ASSERT_TRUE(afterWarm);
    EXPECT_LT(*afterWarm - *afterCold, bytes.size() / 2) << "the second read came from the cache";
}

}  // namespace
}  // namespace kelvor
