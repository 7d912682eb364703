#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "quillet/main/remove_root.hpp"
#include "tests/support/run_kelvor.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using testing::TempHome;

TEST(RemoveRoot, TrashRulesJudgeTheRealPath) {
    TrashRules rules;
    rules.homeTrash = "/home/ada/.local/share/Trash";
    rules.isMountPoint = [](const std::string& path) { return path == "/mnt/usb" || path == "/"; };
    struct Case {
        const char* path;
        bool inside;
    };
    const Case cases[] = {
        {"/home/ada/.local/share/Trash/files/old.bin", true},
        {"/home/ada/.local/share/Trash/files/dir/deep", true},
        {"/home/ada/.local/share/Trash/files", false},
        {"/home/ada/.local/share/Trash/info/old.bin.trashinfo", false},
        {"/home/ada/.local/share/Trash/filesx/a", false},
        {"/mnt/usb/.Trash-1000/files/a", true},
        {"/mnt/usb/.Trash-1000/files", false},
        {"/mnt/usb/.Trash-abc/files/a", false},
        {"/mnt/usb/.Trash/1000/files/a", true},
        {"/mnt/usb/.Trash/1000/info/a", false},
        {"/home/ada/.Trash-1000/files/a", false},  // not at the top of a mounted file system
        {"/.Trash-0/files/a", true},
        {"/Users/ada/.Trash/a", true},
        {"/Users/ada/.Trash", false},
        {"/Volumes/Disk/.Trashes/501", true},
        {"/Users/ada/Documents/.Trash/a", false},
        {"/home/ada/Documents/a", false},
    };
    for (const Case& c : cases) EXPECT_EQ(insideATrash(c.path, rules), c.inside) << c.path;

    rules.glimsterRoot = "/sandbox";
    EXPECT_TRUE(insideATrash("/sandbox/.Trash/a", rules));
    EXPECT_FALSE(insideATrash("/sandbox/.Trash/", rules));
    EXPECT_FALSE(insideATrash("/home/ada/.local/share/Trash/files/a", rules)) << "only the root rule counts";
}

TEST(RemoveRoot, DeletesInsideTheTrashRefusesTheRestAndNeverFollowsLinks) {
    TempHome home;
    std::string trashFiles = home / ".local/share/Trash/files";
    testing::writeFile(trashFiles + "/junk/a.bin", "aaaa");
    testing::writeFile(trashFiles + "/single.txt", "x");
    testing::writeFile(home / "keep/precious.txt", "mine");
    fs::create_directory_symlink(home / "keep", trashFiles + "/junk/link-to-keep");
    fs::create_directory_symlink(home / "keep", trashFiles + "/link-at-top");
    // A link that makes an outside path look as if it were in the Trash.
    fs::create_directory_symlink(trashFiles, home / "looks-like-trash");

    auto run = testing::runKelvorBinary({"--remove-root", trashFiles + "/junk", trashFiles + "/single.txt",
                                         trashFiles + "/link-at-top", home / "keep/precious.txt",
                                         home / "looks-like-trash"},
                                        {"LANG=C", "LANGUAGE="});
    EXPECT_EQ(run.status, 1);
    EXPECT_FALSE(fs::exists(trashFiles + "/junk"));
    EXPECT_FALSE(fs::exists(trashFiles + "/single.txt"));
    EXPECT_FALSE(fs::is_symlink(trashFiles + "/link-at-top"));
    EXPECT_EQ(testing::readFile(home / "keep/precious.txt"), "mine") << "a link's target is never touched";
    EXPECT_NE(run.err.find("refused: not in a Trash: " + (home / "keep/precious.txt")), std::string::npos);
    EXPECT_NE(run.err.find("refused: not in a Trash: " + (home / "looks-like-trash")), std::string::npos);
    EXPECT_TRUE(fs::exists(trashFiles)) << "the link's target, the Trash itself, stays";
}

TEST(RemoveRoot, StatusIsZeroWhenEverythingWasDeleted) {
    TempHome home;
    std::string item = home / ".local/share/Trash/files/old";
    testing::writeFile(item + "/x", "1");
    auto run = testing::runKelvorBinary({"--remove-root", item});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(run.err.empty());
    EXPECT_FALSE(fs::exists(item));

    auto missing = testing::runKelvorBinary({"--remove-root", home / ".local/share/Trash/files/gone"});
    EXPECT_EQ(missing.status, 1) << "a path that is not there cannot be deleted";
}

}  // namespace
}  // namespace kelvor
