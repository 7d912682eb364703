#include "quillet/clean/ballast.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using namespace kelvor::testing;

TEST(Ballast, KeepsOneMebibyteInTheDataFolderAndReleasesIt) {
    TempHome home;
    Ballast ballast;
    EXPECT_EQ(ballast.path(), home / ".kelvor/reserve.bin");
    ASSERT_TRUE(ballast.ensure());
    EXPECT_EQ(fs::file_size(ballast.path()), BALLAST_BYTES);
    writeFile(ballast.path(), "short");
    ASSERT_TRUE(ballast.ensure()) << "a reserve cut short is made whole again";
    EXPECT_EQ(fs::file_size(ballast.path()), BALLAST_BYTES);
    EXPECT_TRUE(ballast.release());
    EXPECT_FALSE(fs::exists(ballast.path()));
    EXPECT_FALSE(ballast.release()) << "nothing was there to release";
}

TEST(Ballast, NeverWritesThroughALinkAtItsName) {
    TempHome home;
    writeFile(home / "precious", "keep me");
    fs::create_directories(home / ".kelvor");
    fs::create_symlink(home / "precious", home / ".kelvor/reserve.bin");
    EXPECT_FALSE(Ballast().ensure());
    EXPECT_EQ(readFile(home / "precious"), "keep me");
}

}  // namespace
}  // namespace kelvor
