#include "quillet/platform/user_folders.hpp"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

bool holds(const std::vector<std::string>& folders, const std::string& folder) {
    return std::find(folders.begin(), folders.end(), folder) != folders.end();
}

TEST(ParseUserDirs, ValuesReplaceTheirDefaultsOnly) {
    const std::string text =
        "# This file is written by xdg-user-dirs-update\n"
        "XDG_DOWNLOAD_DIR=\"$HOME/Baixades\"\n"
        "  XDG_MUSIC_DIR = \"/srv/media/ana music\"\r\n"
        "XDG_VIDEOS_DIR=\"$HOME/Films/\"\n"
        "XDG_SOMETHING_DIR=\"$HOME/Ignored\"\n";
    std::vector<std::string> folders = parseUserDirs(text, "/home/ana");
    EXPECT_TRUE(holds(folders, "/home/ana/Baixades"));
    EXPECT_FALSE(holds(folders, "/home/ana/Downloads")) << "a named folder replaces its default";
    EXPECT_TRUE(holds(folders, "/srv/media/ana music")) << "absolute values are kept, spaces and all";
    EXPECT_TRUE(holds(folders, "/home/ana/Films")) << "a trailing slash is dropped";
    EXPECT_TRUE(holds(folders, "/home/ana/Desktop")) << "keys the file does not set keep their defaults";
    EXPECT_FALSE(holds(folders, "/home/ana/Ignored")) << "unknown keys are not folders of the person";
}

TEST(ParseUserDirs, HomeItselfAndClimbingOrRelativeValuesNameNothing) {
    // Pointing a folder at $HOME is how a person switches it off; it must never hide the whole home.
    const std::string text =
        "XDG_DESKTOP_DIR=\"$HOME\"\n"
        "XDG_DOCUMENTS_DIR=\"$HOME/\"\n"
        "XDG_PICTURES_DIR=\"$HOME/../other\"\n"
        "XDG_PUBLICSHARE_DIR=\"Public\"\n"
        "XDG_TEMPLATES_DIR=\"$HOME/./Templates/.\"\n";
    std::vector<std::string> folders = parseUserDirs(text, "/home/ana");
    for (const std::string& folder : folders) {
        EXPECT_NE(folder, "/home/ana") << "the home folder is never one of its own folders";
        EXPECT_EQ(folder.find(".."), std::string::npos) << folder;
    }
    EXPECT_TRUE(holds(folders, "/home/ana/Templates"));
    EXPECT_EQ(folders.size(), 4u) << "Download, Music, Videos and Templates remain";
}

TEST(PersonalFolders, ReadsTheUserDirsFileAndAddsTheTrash) {
    testing::TempHome home;
    std::vector<std::string> folders = personalFolders(home.path());
#ifdef __linux__
    EXPECT_TRUE(holds(folders, home / "Videos")) << "defaults when the file is absent";
    EXPECT_TRUE(holds(folders, home / ".local/share/Trash"));
    testing::writeFile(home / ".config/user-dirs.dirs", "XDG_VIDEOS_DIR=\"$HOME/Clips\"\n");
    folders = personalFolders(home.path());
    EXPECT_TRUE(holds(folders, home / "Clips"));
    EXPECT_FALSE(holds(folders, home / "Videos"));
    home.setEnv("XDG_CONFIG_HOME", home / "elsewhere");
    testing::writeFile(home / "elsewhere/user-dirs.dirs", "XDG_VIDEOS_DIR=\"$HOME/Reels\"\n");
    EXPECT_TRUE(holds(personalFolders(home.path()), home / "Reels")) << "XDG_CONFIG_HOME moves the file";
#else
    EXPECT_TRUE(folders.empty());
#endif
}

}  // namespace
}  // namespace kelvor
