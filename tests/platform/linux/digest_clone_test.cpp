// The digest and clone backends against the real file system.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "quillet/platform/clone.hpp"
#include "quillet/platform/digest.hpp"
#include "tests/support/temp_home.hpp"

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

TEST(Sha256File, RefusesLinksFoldersAndMissingFiles) {
    TempHome home;
    testing::writeFile(home / "real", "abc");
    fs::create_symlink(home / "real", home / "link");
    fs::create_directories(home / "folder");
    std::uint64_t read = 0;
    EXPECT_EQ(sha256File(home / "link", read), std::nullopt);
    EXPECT_EQ(sha256File(home / "folder", read), std::nullopt);
    EXPECT_EQ(sha256File(home / "missing", read), std::nullopt);
    EXPECT_EQ(read, 0u);
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
