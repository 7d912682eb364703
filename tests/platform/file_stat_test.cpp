#include "quillet/platform/file_stat.hpp"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using testing::TempHome;
using testing::writeFile;

TEST(FileStat, ReportsSizeAndNanosecondModificationTimeOrTheErrno) {
    TempHome home;
    std::string path = home / "file";
    writeFile(path, "12345");
    auto stamp = fs::last_write_time(path);
    Result<FileStat> before = statFile(path);
    fs::last_write_time(path, stamp + std::chrono::nanoseconds(1000));
    Result<FileStat> after = statFile(path);
    ASSERT_TRUE(before.ok() && after.ok());
    EXPECT_EQ(before->size, 5u);
    EXPECT_EQ(before->inode, after->inode);
    auto nanoseconds = [](const FileStat& info) { return info.modifiedSeconds * 1000000000 + info.modifiedNanoseconds; };
    EXPECT_EQ(nanoseconds(*after) - nanoseconds(*before), 1000);
    for (auto [missing, code] : {std::pair{home / "absent", ENOENT}, std::pair{home / "file/below", ENOTDIR}}) {
        Result<FileStat> info = statFile(missing);
        ASSERT_FALSE(info.ok()) << missing;
        EXPECT_EQ(info.error().code, code) << missing;
    }
}

}  // namespace
}  // namespace kelvor
