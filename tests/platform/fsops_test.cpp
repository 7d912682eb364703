#include "quillet/platform/fsops.hpp"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using testing::readFile;
using testing::TempHome;
using testing::writeFile;

TEST(FileOps, RenameNeverReplacesWhatIsThere) {
    TempHome home;
    writeFile(home / "a", "mine");
    writeFile(home / "b", "theirs");
    Result<void> moved = FileOps::real().rename(home / "a", home / "b");
    ASSERT_FALSE(moved.ok());
    EXPECT_EQ(moved.error().kind, ErrorKind::exists) << moved.error().describe();
    EXPECT_EQ(readFile(home / "b"), "theirs");
    EXPECT_EQ(readFile(home / "a"), "mine");
    Result<void> missing = FileOps::real().rename(home / "absent", home / "c");
    ASSERT_FALSE(missing.ok());
    EXPECT_EQ(missing.error().kind, ErrorKind::notFound);
}

TEST(FileOps, IdentityTellsALinkFromWhatItPointsAt) {
    TempHome home;
    writeFile(home / "folder/file", "x");
    fs::create_symlink(home / "folder", home / "link");
    fs::create_hard_link(home / "folder/file", home / "second-name");
    FileOps& operations = FileOps::real();
    Result<PathIdentity> folder = operations.identity(home / "folder");
    Result<PathIdentity> link = operations.identity(home / "link");
    Result<PathIdentity> file = operations.identity(home / "folder/file");
    Result<PathIdentity> secondName = operations.identity(home / "second-name");
    ASSERT_TRUE(folder.ok() && link.ok() && file.ok() && secondName.ok());
    EXPECT_TRUE(folder->isDir);
    EXPECT_FALSE(link->isDir) << "the link itself, not the folder behind it";
    EXPECT_NE(*link, *folder);
    EXPECT_EQ(*file, *secondName) << "two names of one file are one object";
    EXPECT_NE(*file, *folder);
    Result<PathIdentity> missing = operations.identity(home / "absent");
    ASSERT_FALSE(missing.ok());
    EXPECT_EQ(missing.error().kind, ErrorKind::notFound);
}

TEST(FileOps, ExtendedAttributesRoundTrip) {
    TempHome home;
    const std::string path = home / "item";
    writeFile(path, "x");
    FileOps& operations = FileOps::real();
    const std::string name = "com.brindlewood.kelvor.test";
    Result<void> set = operations.setXattr(path, name, std::string("/home/a\0b", 9));
    if (!set && (set.error().code == ENOTSUP || set.error().code == EOPNOTSUPP))
        GTEST_SKIP() << "this file system keeps no user extended attributes";
    ASSERT_TRUE(set.ok()) << set.error().describe();
    Result<std::optional<std::string>> read = operations.getXattr(path, name);
    ASSERT_TRUE(read.ok()) << read.error().describe();
    EXPECT_EQ(read->value_or(""), std::string("/home/a\0b", 9)) << "bytes kept whole";
    ASSERT_TRUE(operations.setXattr(path, name, "").ok());
    read = operations.getXattr(path, name);
    ASSERT_TRUE(read.ok() && read->has_value());
    EXPECT_EQ(**read, "") << "an empty value is set, not absent";
    ASSERT_TRUE(operations.removeXattr(path, name).ok());
    read = operations.getXattr(path, name);
    ASSERT_TRUE(read.ok());
    EXPECT_FALSE(read->has_value());
    EXPECT_TRUE(operations.removeXattr(path, name).ok()) << "removing what is not set is no error";
    EXPECT_FALSE(operations.getXattr(home / "absent", name).ok());
}

TEST(FileOps, TheTrashMoveLeavesAnEntryAndItsPutBackRecordInTheHomeTrash) {
    TempHome home;
    writeFile(home / "item", "x");
    Result<std::string> moved = FileOps::real().moveToTrash(home / "item");
    ASSERT_TRUE(moved.ok()) << moved.error().describe();
    EXPECT_FALSE(fs::exists(home / "item"));
    EXPECT_EQ(readFile(*moved), "x");
    const fs::path trash = fs::path(*moved).parent_path().parent_path();
    EXPECT_TRUE(fs::exists(trash / "info" / (fs::path(*moved).filename().string() + ".trashinfo")));
    EXPECT_FALSE(FileOps::real().moveToTrash(home / "item").ok()) << "nothing is left to move";
}

}  // namespace
}  // namespace kelvor
