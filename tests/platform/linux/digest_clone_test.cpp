// The digest and clone backends against the real file system.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "quillet/platform/clone.hpp"
#include "quillet/platform/digest.hpp"
#include "tests/support/run_program.hpp"
#include "tests/support/temp_home.hpp"
#include "tests/support/xfs_mount.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using testing::TempHome;

TEST(Sha256File, GivesTheStandardDigestAndCountsWhatItRead) {
    TempHome home;
    testing::writeFile(home / "abc", "abc");
    std::uint64_t read = 0;
    EXPECT_EQ(sha256File(home / "abc", read), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(read, 3u);
    // Larger than one block, so the blocks must be chained.
    std::string big(DIGEST_BLOCK_BYTES + 5, 'a');
    testing::writeFile(home / "big", big);
    testing::writeFile(home / "big2", big);
    std::uint64_t ignored = 0;
    EXPECT_EQ(sha256File(home / "big", ignored), sha256File(home / "big2", ignored));
    big.back() = 'b';
    testing::writeFile(home / "big2", big);
    EXPECT_NE(sha256File(home / "big", ignored), sha256File(home / "big2", ignored));
}

TEST(Sha256Samples, TellsApartFilesThatDifferAtTheStartMiddleOrEnd) {
    TempHome home;
    const std::string base(1'048'576, 'm');
    testing::writeFile(home / "base", base);
    const std::optional<std::string> sample = sha256Samples(home / "base", base.size());
    ASSERT_TRUE(sample);
    for (std::size_t at : {std::size_t{0}, base.size() / 2, base.size() - 1}) {
        std::string other = base;
        other[at] = 'x';
        testing::writeFile(home / "other", other);
        EXPECT_NE(sha256Samples(home / "other", other.size()), sample) << at;
    }
    // Between the samples a difference goes unseen: only the full digest may prove a copy.
    std::string other = base;
    other[300'000] = 'x';
    testing::writeFile(home / "other", other);
    EXPECT_EQ(sha256Samples(home / "other", other.size()), sample);
    std::uint64_t read = 0;
    EXPECT_NE(sha256File(home / "other", read), sha256File(home / "base", read));
}

TEST(Sha256, BothDigestsRefuseLinksFoldersMissingFilesAndSamplesAFileOfAnotherSize) {
    TempHome home;
    testing::writeFile(home / "short", "only a few bytes");
    fs::create_symlink(home / "short", home / "link");
    fs::create_directories(home / "folder");
    std::uint64_t read = 0;
    for (const char* refused : {"link", "folder", "missing"}) {
        EXPECT_EQ(sha256File(home / refused, read), std::nullopt) << refused;
        EXPECT_EQ(sha256Samples(home / refused, 16), std::nullopt) << refused;
    }
    EXPECT_EQ(read, 0u);
    EXPECT_TRUE(sha256Samples(home / "short", 16));
    EXPECT_EQ(sha256Samples(home / "short", 17), std::nullopt);
    EXPECT_EQ(sha256Samples(home / "short", 15), std::nullopt);
}

TEST(SharesExtents, SameObjectYesSeparateCopiesNo) {
    TempHome home;
    std::string bytes(20'000, 'k');
    testing::writeFile(home / "a", bytes);
    testing::writeFile(home / "b", bytes);
    fs::create_hard_link(home / "a", home / "c");
    EXPECT_TRUE(sharesExtents(home / "a", home / "c", bytes.size()));
    EXPECT_FALSE(sharesExtents(home / "a", home / "b", bytes.size()));
    EXPECT_FALSE(sharesExtents(home / "a", home / "missing", bytes.size()));
}

// Copies `from` to `to` with cp, cloning it (`reflink` "always") or copying every byte ("never").
void copyWithCp(const std::string& from, const std::string& to, const std::string& reflink) {
    ASSERT_EQ(testing::runProgram({testing::firstExisting({"/usr/bin/cp", "/bin/cp"}), "--reflink=" + reflink, from, to}, "")
                  .status,
              0);
}

TEST(StorageMap, SameForAReflinkCloneUntilItIsWrittenToAndNeverForACopy) {
    TempHome home;
    testing::XfsMount xfs(home / "xfs.img", home / "xfs");
    if (!xfs.mounted()) GTEST_SKIP() << xfs.reason();
    testing::writeFile(home / "xfs/original", std::string(3'000'000, 'o'));
    copyWithCp(home / "xfs/original", home / "xfs/clone", "always");
    copyWithCp(home / "xfs/original", home / "xfs/copy", "never");
    std::optional<std::string> original = storageMap(home / "xfs/original");
    ASSERT_TRUE(original);
    EXPECT_EQ(storageMap(home / "xfs/clone"), original);
    EXPECT_NE(storageMap(home / "xfs/copy"), original);
    // One byte written in the clone (still in the page cache) gives it a block of its own.
    int fd = ::open((home / "xfs/clone").c_str(), O_WRONLY);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::pwrite(fd, "x", 1, 1'500'000), 1);
    ::close(fd);
    EXPECT_NE(storageMap(home / "xfs/clone"), original);
    EXPECT_EQ(storageMap(home / "xfs/missing"), std::nullopt);
}

TEST(CloneFile, NeverReplacesAnExistingFile) {
    TempHome home;
    testing::writeFile(home / "source", "source");
    testing::writeFile(home / "occupied", "mine");
    Result<void> cloned = cloneFile(home / "source", home / "occupied");
    EXPECT_FALSE(cloned);
    EXPECT_EQ(testing::readFile(home / "occupied"), "mine");
}

}  // namespace
}  // namespace kelvor
