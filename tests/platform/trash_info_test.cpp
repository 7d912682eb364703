#include <gtest/gtest.h>

#include "quillet/platform/trash_info.hpp"

namespace kelvor {
namespace {

TEST(TrashInfo, PercentEncodingEscapesEverythingButUnreservedBytesAndSlashes) {
    struct Case {
        std::string path;
        std::string encoded;
    };
    const Case cases[] = {
        {"/home/ada/plain-name_1.~txt", "/home/ada/plain-name_1.~txt"},
        {"/home/ada/two words", "/home/ada/two%20words"},
        {"/home/ada/100%", "/home/ada/100%25"},
        {"/home/ada/line\nbreak", "/home/ada/line%0Abreak"},
        {"/home/ada/bad\xff\xfe", "/home/ada/bad%FF%FE"},
        {"/home/ada/한", "/home/ada/%ED%95%9C"},
        {"/home/ada/a=b&c#d?e", "/home/ada/a%3Db%26c%23d%3Fe"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(percentEncodePath(c.path), c.encoded) << c.path;
        EXPECT_EQ(percentDecodePath(c.encoded), c.path) << c.encoded;
    }
    EXPECT_EQ(percentDecodePath("/a%2fb%2F"), "/a/b/") << "lower-case hex decodes too";
    EXPECT_FALSE(percentDecodePath("/a%2"));
    EXPECT_FALSE(percentDecodePath("/a%zz"));
    EXPECT_FALSE(percentDecodePath("/a%"));
    // Cut at the NUL, either would name "/home/ada/.bashrc".
    EXPECT_FALSE(percentDecodePath("/home/ada/.bashrc%00/x"));
    EXPECT_FALSE(percentDecodePath(std::string_view("/home/ada/.bashrc\0/x", 20)));
}

TEST(TrashInfo, WrittenRecordsReadBack) {
    std::string name = "/home/ada/we ird%\nname\x80";
    std::string text = trashInfoText(name, "2026-11-22T06:30:00");
    EXPECT_TRUE(text.starts_with("[Trash Info]\nPath=/home/ada/we%20ird%25%0Aname%80\n")) << text;
    EXPECT_EQ(text.find('\n', text.find("Path=")) + 1, text.find("DeletionDate=2026-11-22T06:30:00\n"));
    std::optional<TrashInfo> info = parseTrashInfo(text);
    ASSERT_TRUE(info);
    EXPECT_EQ(info->path, name);
    EXPECT_EQ(info->deletionDate, "2026-11-22T06:30:00");
}

TEST(TrashInfo, ParsingAcceptsWhatOtherToolsWriteAndRejectsTheRest) {
    std::optional<TrashInfo> other = parseTrashInfo(
        "# written by hand\r\n[Other]\r\nPath=/wrong\r\n[Trash Info]\r\nDeletionDate=2020-01-01T00:00:00\r\n"
        "Path=relative/to%20top\r\nPath=/second/ignored\r\n");
    ASSERT_TRUE(other);
    EXPECT_EQ(other->path, "relative/to top");
    EXPECT_EQ(other->deletionDate, "2020-01-01T00:00:00");
    const char* rejected[] = {
        "",
        "Path=/no/group\n",
        "[Other]\nPath=/wrong/group\n",
        "[Trash Info]\nDeletionDate=2020-01-01T00:00:00\n",
        "[Trash Info]\nPath=\n",
        "[Trash Info]\nPath=/broken%zzescape\n",
    };
    for (const char* text : rejected) EXPECT_FALSE(parseTrashInfo(text)) << text;
}

TEST(TrashInfo, DataVolumeFormMatchesThePlainForm) {
    EXPECT_EQ(withoutDataVolumePrefix("/System/Volumes/Data/Users/ada/x"), "/Users/ada/x");
    EXPECT_EQ(withoutDataVolumePrefix("/Users/ada/x"), "/Users/ada/x");
    EXPECT_EQ(withoutDataVolumePrefix("/System/Volumes/Database/x"), "/System/Volumes/Database/x");
}

}  // namespace
}  // namespace kelvor
