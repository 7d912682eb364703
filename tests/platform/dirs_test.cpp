#include "quillet/platform/dirs.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <memory>

#include "tests/support/temp_home.hpp"
#include "tests/support/unprivileged.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using testing::TempHome;
using testing::writeFile;

struct Listing {
    bool complete = false;
    std::uint64_t denied = 0;
    std::uint64_t errors = 0;
    std::map<std::string, BulkEntry> entries;
};

Listing list(const std::string& path, EntryDetail detail = EntryDetail::everyEntry, std::size_t bufSize = 262144) {
    auto buffer = std::make_unique<std::byte[]>(bufSize);
    Listing listing;
    listing.complete = readDirBulk(path, buffer.get(), bufSize, listing.denied, listing.errors,
                                   [&](const BulkEntry& entry) { listing.entries[entry.name] = entry; }, detail);
    return listing;
}

// What lstat says, as the independent answer.
struct stat lstatOf(const std::string& path) {
    struct stat info {};
    ::lstat(path.c_str(), &info);
    return info;
}

TEST(Dirs, ReadsEveryEntryWithItsFields) {
    TempHome home;
    std::string folder = home / "tree";
    writeFile(folder + "/data.bin", std::string(10000, 'x'));
    writeFile(folder + "/sub/inner.txt", "inner");
    fs::create_symlink("data.bin", folder + "/link");
    fs::create_hard_link(folder + "/data.bin", folder + "/second-name");

    Listing listing = list(folder);
    EXPECT_TRUE(listing.complete);
    EXPECT_EQ(listing.denied + listing.errors, 0u);
    ASSERT_EQ(listing.entries.size(), 4u) << "\".\" and \"..\" are left out";

    struct stat data = lstatOf(folder + "/data.bin");
    const BulkEntry& file = listing.entries["data.bin"];
    EXPECT_EQ(file.objType, VREG);
    EXPECT_EQ(file.fileID, data.st_ino);
    EXPECT_EQ(file.linkCount, 2u);
    EXPECT_EQ(file.allocSize, static_cast<std::uint64_t>(data.st_blocks) * 512);
    EXPECT_GT(file.allocSize, 0u);
    EXPECT_EQ(file.mtime, data.st_mtim.tv_sec);
    EXPECT_EQ(listing.entries["second-name"].fileID, data.st_ino);
    EXPECT_EQ(listing.entries["sub"].objType, VDIR);
    EXPECT_EQ(listing.entries["sub"].fileID, lstatOf(folder + "/sub").st_ino);
    EXPECT_EQ(listing.entries["sub"].mtime, lstatOf(folder + "/sub").st_mtim.tv_sec);
    EXPECT_EQ(listing.entries["link"].objType, VLNK) << "the link is described, not followed";
}

TEST(Dirs, RegularFilesOnlyLeavesOtherEntriesWithTypeAndInode) {
    TempHome home;
    std::string folder = home / "tree";
    writeFile(folder + "/data.bin", std::string(5000, 'x'));
    writeFile(folder + "/sub/inner.txt", "inner");
    Listing listing = list(folder, EntryDetail::regularFilesOnly);
    EXPECT_EQ(listing.entries["data.bin"].allocSize, static_cast<std::uint64_t>(lstatOf(folder + "/data.bin").st_blocks) * 512);
    EXPECT_EQ(listing.entries["sub"].objType, VDIR);
    EXPECT_EQ(listing.entries["sub"].fileID, lstatOf(folder + "/sub").st_ino);
}

TEST(Dirs, ASmallBufferStillReadsALargeDirectory) {
    TempHome home;
    std::string folder = home / "many";
    fs::create_directories(folder);
    for (int i = 0; i < 600; ++i) writeFile(folder + "/file-with-a-longish-name-" + std::to_string(i), "x");
    Listing listing = list(folder, EntryDetail::regularFilesOnly, 1024);
    EXPECT_TRUE(listing.complete);
    EXPECT_EQ(listing.entries.size(), 600u);
}

TEST(Dirs, NamesAreKeptAsStoredEvenWhenNotUtf8) {
    TempHome home;
    std::string folder = home / "names";
    std::string odd = "caf\xE9\xFF.bin";
    writeFile(folder + "/" + odd, "abc");
    Listing listing = list(folder);
    ASSERT_EQ(listing.entries.size(), 1u);
    EXPECT_EQ(listing.entries.begin()->first, odd) << "the stored bytes, so the path can be opened again";
    EXPECT_EQ(listing.entries.begin()->second.objType, VREG);
}

TEST(Dirs, FailuresAreCountedAsDeniedOrErrors) {
    TempHome home;
    writeFile(home / "plain-file", "x");
    struct Case {
        std::string input;
        std::uint64_t denied;
        std::uint64_t errors;
    };
    const Case cases[] = {{home / "missing", 0, 1}, {home / "plain-file", 0, 1}};
    for (const Case& c : cases) {
        Listing listing = list(c.input);
        EXPECT_FALSE(listing.complete) << c.input;
        EXPECT_EQ(listing.denied, c.denied) << c.input;
        EXPECT_EQ(listing.errors, c.errors) << c.input;
        EXPECT_TRUE(listing.entries.empty()) << c.input;
    }
}

TEST(Dirs, AFolderWithoutReadPermissionIsDenied) {
    TempHome home;
    std::string folder = home / "locked";
    writeFile(folder + "/secret", "x");
    fs::permissions(home.path(), fs::perms::owner_all | fs::perms::others_read | fs::perms::others_exec |
                                     fs::perms::group_read | fs::perms::group_exec);
    fs::permissions(folder, fs::perms::none);
    std::optional<std::string> answer = testing::runUnprivileged([&] {
        Listing listing = list(folder);
        return std::to_string(listing.complete) + " " + std::to_string(listing.denied) + " " +
               std::to_string(listing.errors) + " " + std::to_string(listing.entries.size());
    });
    ASSERT_TRUE(answer.has_value());
    EXPECT_EQ(*answer, "0 1 0 0") << "complete, denied, errors, entries";
}

TEST(Dirs, EntryAtDescribesThePathItself) {
    TempHome home;
    writeFile(home / "file.bin", std::string(9000, 'y'));
    fs::create_symlink(home / "file.bin", home / "link");
    Result<BulkEntry> file = entryAt(home / "file.bin");
    ASSERT_TRUE(file.ok());
    EXPECT_EQ(file->name, "file.bin");
    EXPECT_EQ(file->objType, VREG);
    EXPECT_EQ(file->allocSize, static_cast<std::uint64_t>(lstatOf(home / "file.bin").st_blocks) * 512);
    Result<BulkEntry> link = entryAt(home / "link");
    ASSERT_TRUE(link.ok());
    EXPECT_EQ(link->objType, VLNK);
    Result<BulkEntry> missing = entryAt(home / "nothing-here");
    ASSERT_FALSE(missing.ok());
    EXPECT_EQ(missing.error().code, ENOENT);
}

}  // namespace
}  // namespace kelvor
