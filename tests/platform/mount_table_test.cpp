#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "quillet/platform/mount_table.hpp"
#include "tests/support/scoped_mount.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

TEST(MountTable, ListsTheRootAndAMountWhoseNameNeedsEscaping) {
    EXPECT_TRUE(mountPoints().contains("/"));
    if (::geteuid() != 0) GTEST_SKIP() << "mounting needs root";
    testing::TempHome home;
    std::string odd = home / "usb stick\\x";
    std::filesystem::create_directories(odd);
    std::optional<testing::ScopedMount> mounted;
    mounted.emplace(testing::ScopedMount::tmpfs(odd));
    ASSERT_TRUE(mounted->mounted());
    EXPECT_TRUE(mountPoints().contains(odd)) << "the table writes the space and backslash as octal escapes";
    mounted.reset();
    EXPECT_FALSE(mountPoints().contains(odd));
}

}  // namespace
}  // namespace kelvor
