#include "quillet/platform/dirs.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <map>
#include <memory>

#include "tests/support/temp_home.hpp"

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

TEST(Dirs, ReadsEveryEntryWithTheFieldsLstatGivesOrOnlyWhatTheEntryKnows) {
    TempHome home;
    std::string folder = home / "tree";
    writeFile(folder + "/data.bin", std::string(10000, 'x'));
    writeFile(folder + "/sub/inner.txt", "inner");
    fs::create_symlink("data.bin", folder + "/link");
    fs::create_hard_link(folder + "/data.bin", folder + "/second-name");
    struct stat data {}, sub {};
    ::lstat((folder + "/data.bin").c_str(), &data);
    ::lstat((folder + "/sub").c_str(), &sub);
    for (EntryDetail detail : {EntryDetail::everyEntry, EntryDetail::regularFilesOnly}) {
        Listing listing = list(folder, detail);
        EXPECT_TRUE(listing.complete);
        EXPECT_EQ(listing.denied + listing.errors, 0u);
        ASSERT_EQ(listing.entries.size(), 4u) << "\".\" and \"..\" are left out";
        const BulkEntry& file = listing.entries["data.bin"];
        EXPECT_EQ(file.objType, VREG);
        EXPECT_EQ(file.fileID, data.st_ino);
        EXPECT_EQ(file.linkCount, 2u);
        EXPECT_EQ(file.allocSize, static_cast<std::uint64_t>(data.st_blocks) * 512);
        EXPECT_EQ(file.mtime, data.st_mtime);
        EXPECT_EQ(listing.entries["sub"].objType, VDIR);
        EXPECT_EQ(listing.entries["sub"].fileID, sub.st_ino);
        EXPECT_EQ(listing.entries["link"].objType, VLNK) << "the link is described, not followed";
    }
    EXPECT_EQ(list(folder).entries["sub"].mtime, sub.st_mtime);
    // A search by name learns types and inodes from the directory entries alone, and no sizes.
    Listing names = list(folder, EntryDetail::namesAndTypes);
    EXPECT_TRUE(names.complete);
    EXPECT_EQ(names.entries.size(), 4u);
    EXPECT_EQ(names.entries["data.bin"].objType, VREG);
    EXPECT_EQ(names.entries["data.bin"].fileID, data.st_ino);
    EXPECT_EQ(names.entries["data.bin"].allocSize, 0u);
    EXPECT_EQ(names.entries["sub"].objType, VDIR);
}

TEST(Dirs, ABufferSmallerThanTheDirectoryIsRefilled) {
    TempHome home;
    for (int i = 0; i < 600; ++i) writeFile(home / ("many/file-with-a-longish-name-" + std::to_string(i)), "x");
    Listing listing = list(home / "many", EntryDetail::regularFilesOnly, 1024);
    EXPECT_TRUE(listing.complete);
    EXPECT_EQ(listing.entries.size(), 600u);
}

TEST(Dirs, WhatCannotBeOpenedIsOneError) {
    TempHome home;
    writeFile(home / "plain-file", "x");
    for (const std::string& input : {home / "missing", home / "plain-file"}) {
        Listing listing = list(input);
        EXPECT_FALSE(listing.complete) << input;
        EXPECT_EQ(listing.denied, 0u) << input;
        EXPECT_EQ(listing.errors, 1u) << input;
    }
}

TEST(Dirs, EntryAtDescribesThePathItself) {
    TempHome home;
    writeFile(home / "file.bin", "y");
    fs::create_symlink(home / "file.bin", home / "link");
    Result<BulkEntry> file = entryAt(home / "file.bin");
    ASSERT_TRUE(file.ok());
    EXPECT_EQ(file->name, "file.bin");
    EXPECT_EQ(file->objType, VREG);
    EXPECT_EQ(entryAt(home / "link")->objType, VLNK);
    EXPECT_EQ(entryAt(home / "nothing-here").error().code, ENOENT);
}

}  // namespace
}  // namespace kelvor
