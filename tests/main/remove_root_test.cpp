#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <filesystem>
#include <optional>

#include "quillet/main/remove_root.hpp"
#include "tests/support/run_kelvor.hpp"
#include "tests/support/scoped_mount.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using testing::ScopedMount;
using testing::TempHome;

// A Trash the binary accepts from this test. Root ignores HOME and XDG_DATA_HOME, so as root it
// is a ".Trash-0" at the top of a file system mounted for the test; otherwise the home Trash.
struct TestTrash {
    explicit TestTrash(const TempHome& home) {
        if (::geteuid() == 0) {
            fs::create_directories(home / "disk");
            mount.emplace(ScopedMount::tmpfs(home / "disk"));
            top = home / "disk/.Trash-0";
        } else {
            top = home / ".local/share/Trash";
        }
        files = top + "/files";
        info = top + "/info";
        fs::create_directories(files);
        fs::create_directories(info);
    }
    bool usable() const { return !mount || mount->mounted(); }
    std::optional<ScopedMount> mount;
    std::string top, files, info;
};

TEST(RemoveRoot, TrashRulesJudgeTheRealPath) {
    TrashRules rules;
    rules.homeTrashes = {"/home/ada/.local/share/Trash"};
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
    std::optional<TrashMatch> shared = trashHolding("/mnt/usb/.Trash/1000/files/a/b", rules);
    ASSERT_TRUE(shared);
    EXPECT_EQ(shared->itemsFolder, "/mnt/usb/.Trash/1000/files");
    EXPECT_TRUE(shared->pairedInfo);
    EXPECT_FALSE(trashHolding("/Users/ada/.Trash/a", rules)->pairedInfo) << "the macOS Trash keeps no .trashinfo";
    rules.glimsterRoot = "/sandbox";
    EXPECT_TRUE(insideATrash("/sandbox/.Trash/a", rules));
    EXPECT_FALSE(insideATrash("/sandbox/.Trash", rules));
    EXPECT_FALSE(insideATrash("/sandbox/.Trashy/a", rules));
    EXPECT_FALSE(insideATrash("/home/ada/.local/share/Trash/files/a", rules)) << "only the root rule counts";
}

TEST(RemoveRoot, PrivilegedRulesCoverEveryHomeReachedThroughALinkAndNothingElse) {
    TempHome home;
    fs::create_directories(home / "real/ada");
    fs::create_directories(home / "real/bob");
    fs::create_directory_symlink(home / "real/ada", home / "ada");
    std::string real = fs::canonical(home / "real").string();
    TrashRules rules = privilegedTrashRules({home / "ada", home / "real/bob"}, {"/media/usb"});
    EXPECT_TRUE(insideATrash(real + "/ada/.local/share/Trash/files/x", rules)) << "a home reached through a link";
    EXPECT_TRUE(insideATrash(real + "/bob/.local/share/Trash/files/x", rules)) << "every user's home";
    EXPECT_FALSE(insideATrash(real + "/carol/.local/share/Trash/files/x", rules));
    EXPECT_TRUE(insideATrash("/media/usb/.Trash-1000/files/x", rules));
    EXPECT_FALSE(insideATrash("/media/other/.Trash-1000/files/x", rules)) << "only listed mount points";
}

TEST(RemoveRoot, RootTakesTheTrashesFromThePasswordDatabaseNotTheEnvironment) {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root";
    TempHome home;
    home.setEnv("XDG_DATA_HOME", home / "anywhere");
    home.setEnv("GLIMSTER_ROOT", home / "sandbox");
    TrashRules rules = currentTrashRules();
    EXPECT_FALSE(rules.glimsterRoot);
    const passwd* rootEntry = ::getpwuid(0);
    ASSERT_NE(rootEntry, nullptr);
    EXPECT_TRUE(insideATrash(fs::weakly_canonical(rootEntry->pw_dir).string() + "/.local/share/Trash/files/x", rules));
    std::string planted = home / "anywhere/Trash/files/x";
    testing::writeFile(planted, "not yours to delete");
    testing::writeFile(home / "sandbox/.Trash/y", "nor this");
    auto run = testing::runKelvorBinary({"--remove-root", planted, home / "sandbox/.Trash/y"});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(fs::exists(planted));
    EXPECT_TRUE(fs::exists(home / "sandbox/.Trash/y"));
    EXPECT_NE(run.err.find("refused: not in a Trash"), std::string::npos) << run.err;
}

TEST(RemoveRoot, DeletesInsideTheTrashRefusesTheRestAndNeverFollowsLinks) {
    TempHome home;
    TestTrash trash(home);
    if (!trash.usable()) GTEST_SKIP() << "cannot mount";
    std::string trashFiles = trash.files;
    testing::writeFile(trashFiles + "/junk/a.bin", "aaaa");
    testing::writeFile(trashFiles + "/single.txt", "x");
    testing::writeFile(home / "keep/precious.txt", "mine");
    fs::create_directory_symlink(home / "keep", trashFiles + "/junk/link-to-keep");
    fs::create_directory_symlink(home / "keep", trashFiles + "/link-at-top");
    // A link that makes an outside path look as if it were in the Trash.
    fs::create_directory_symlink(trashFiles, home / "looks-like-trash");
    auto run = testing::runKelvorBinary({"--remove-root", trashFiles + "/junk", trashFiles + "/single.txt",
                                         trashFiles + "/link-at-top", home / "keep/precious.txt", home / "looks-like-trash"});
    EXPECT_EQ(run.status, 1);
    EXPECT_FALSE(fs::exists(trashFiles + "/junk"));
    EXPECT_FALSE(fs::exists(trashFiles + "/single.txt"));
    EXPECT_FALSE(fs::is_symlink(trashFiles + "/link-at-top"));
    EXPECT_EQ(testing::readFile(home / "keep/precious.txt"), "mine") << "a link's target is never touched";
    EXPECT_NE(run.err.find("refused: not in a Trash: " + (home / "keep/precious.txt")), std::string::npos);
    EXPECT_NE(run.err.find("refused: not in a Trash: " + (home / "looks-like-trash")), std::string::npos);
    EXPECT_TRUE(fs::exists(trashFiles)) << "the link's target, the Trash itself, stays";
}

TEST(RemoveRoot, StatusIsZeroWhenEverythingWasDeletedAndTheTrashinfoGoesWithIt) {
    TempHome home;
    TestTrash trash(home);
    if (!trash.usable()) GTEST_SKIP() << "cannot mount";
    std::string item = trash.files + "/old";
    testing::writeFile(item + "/x", "1");
    testing::writeFile(trash.info + "/old.trashinfo", "[Trash Info]\nPath=/home/ada/old\n");
    testing::writeFile(trash.info + "/other.trashinfo", "[Trash Info]\nPath=/home/ada/other\n");
    auto run = testing::runKelvorBinary({"--remove-root", item});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(run.err.empty());
    EXPECT_FALSE(fs::exists(item));
    EXPECT_FALSE(fs::exists(trash.info + "/old.trashinfo"));
    EXPECT_TRUE(fs::exists(trash.info + "/other.trashinfo"));
    auto missing = testing::runKelvorBinary({"--remove-root", trash.files + "/gone"});
    EXPECT_EQ(missing.status, 1) << "a path that is not there cannot be deleted";
}

TEST(RemoveRoot, ABindMountInsideAnEntryKeepsItsContentsAndTheEntryItsTrashinfo) {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root";
    TempHome home;
    TestTrash trash(home);
    ASSERT_TRUE(trash.usable());
    // The folder shown through the bind mount lies on the Trash's own file system: only the mount,
    // not the device, tells the boundary.
    std::string elsewhere = home / "disk/elsewhere";
    testing::writeFile(elsewhere + "/precious.txt", "mine");
    std::string entry = trash.files + "/entry";
    testing::writeFile(entry + "/junk.bin", "junk");
    fs::create_directories(entry + "/window");
    testing::writeFile(trash.info + "/entry.trashinfo", "[Trash Info]\n");
    std::optional<ScopedMount> bound;
    bound.emplace(ScopedMount::bind(elsewhere, entry + "/window"));
    ASSERT_TRUE(bound->mounted());
    auto run = testing::runKelvorBinary({"--remove-root", entry});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("left alone: " + entry + "/window is on another file system"), std::string::npos) << run.err;
    EXPECT_EQ(testing::readFile(entry + "/window/precious.txt"), "mine");
    EXPECT_FALSE(fs::exists(entry + "/junk.bin")) << "what is on the entry's own file system goes";
    EXPECT_TRUE(fs::exists(trash.info + "/entry.trashinfo")) << "the entry is still there";
    bound.reset();
    EXPECT_EQ(testing::readFile(elsewhere + "/precious.txt"), "mine");
}

TEST(RemoveRoot, RootWritesNoLogInAHomeAndFollowsNoLinkThere) {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root";
    TempHome home;
    TestTrash trash(home);
    ASSERT_TRUE(trash.usable());
    fs::create_directories(home / ".kelvor");
    fs::create_symlink(home / "chosen-by-the-user", home / ".kelvor/kelvor.log");
    testing::writeFile(home / ".kelvor/defaults.json", R"({"kelvor.lang": "de"})");
    testing::writeFile(trash.files + "/a\nforged line", "x");
    auto run = testing::runKelvorBinary({"--remove-root", trash.files + "/a\nforged line"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_FALSE(fs::exists(home / "chosen-by-the-user"));
    EXPECT_TRUE(fs::is_symlink(home / ".kelvor/kelvor.log"));
    EXPECT_NE(run.out.find("deleted for good: "), std::string::npos) << "the home's saved language is not read";
    EXPECT_NE(run.out.find("a\\nforged line"), std::string::npos) << "the name is printed escaped: " << run.out;
}

}  // namespace
}  // namespace kelvor
