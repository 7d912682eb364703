#include "quillet/rules/build_artifacts.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <set>

#include "tests/support/scoped_mount.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using testing::TempHome;
using testing::writeFile;

std::set<std::string> foundPaths(const TempHome& home) {
    std::set<std::string> paths;
    for (const ArtifactFind& find : findBuildArtifacts(home.path(), home.path())) paths.insert(find.path);
    return paths;
}

TEST(BuildArtifacts, AFolderCountsOnlyWithTheMarkerThatProvesItsKindAndNeverTwice) {
    TempHome home;
    for (const char* file : {
             "code/rusty/Cargo.toml", "code/rusty/target/debug/app",
             "code/notrust/target/report.pdf",  // a folder named target, nothing more
             "code/web/package.json", "code/web/node_modules/left-pad/index.js",
             "code/orphan/node_modules/a/index.js",
             "code/cpp/CMakeLists.txt", "code/cpp/build/CMakeCache.txt",
             "code/notes/build/CMakeLists.txt",  // build/ without a cache is not a build folder
             "code/py/.venv/pyvenv.cfg",
             "code/py/venv/lib/site.py",  // no pyvenv.cfg inside
             // The home's own hidden folders and version control history are not walked...
             ".config/Code/extension/package.json", ".config/Code/extension/node_modules/dep/index.js",
             ".local/share/app/package.json", ".local/share/app/node_modules/dep/index.js",
             "code/.git/modules/x/package.json", "code/.git/modules/x/node_modules/dep/index.js",
             // ...but hidden folders deeper down are ordinary project folders.
             "code/.hidden/Cargo.toml", "code/.hidden/target/x",
             // A project inside a find is the find's business, not a second find.
             "code/web/node_modules/dep/package.json", "code/web/node_modules/dep/node_modules/inner/index.js",
             // A folder holding the project's own sources is never offered.
             "code/outer/Cargo.toml", "code/outer/target/Cargo.toml",  // a crate that happens to be called target
             "code/tool/package.json", "code/tool/node_modules/.git/HEAD",  // a checkout, not an install
             "elsewhere/Cargo.toml", "elsewhere/target/x"})
        writeFile(home / file, "x");
    fs::create_directory_symlink(home / "elsewhere", home / "code/linked");
    EXPECT_EQ(foundPaths(home), (std::set<std::string>{home / "code/rusty/target", home / "code/web/node_modules",
                                                       home / "code/cpp/build", home / "code/py/.venv",
                                                       home / "code/.hidden/target", home / "elsewhere/target"}))
        << "the link to elsewhere is not followed; the folder itself is found once, where it is";
}

TEST(BuildArtifacts, AnotherFileSystemMountedInsideIsNotWalked) {
    if (::geteuid() != 0) GTEST_SKIP() << "mounting needs root (CI runs as root)";
    TempHome home;
    fs::create_directories(home / "code/share");
    testing::ScopedMount share = testing::ScopedMount::tmpfs(home / "code/share");
    if (!share.mounted()) GTEST_SKIP() << "this machine allows no tmpfs mount";
    for (const char* file : {"code/share/Cargo.toml", "code/share/target/x", "code/local/Cargo.toml", "code/local/target/x"})
        writeFile(home / file, "x");
    EXPECT_EQ(foundPaths(home), std::set<std::string>{home / "code/local/target"});
}

TEST(BuildArtifacts, RulesLeaveOutClaimedFoldersKeepRecentOnesAndTiersOfTheirKind) {
    TempHome home;
    for (const char* file : {"old/package.json", "old/node_modules/a/index.js", "fresh/Cargo.toml",
                             "fresh/target/debug/app", "claimed/Cargo.toml", "claimed/target/x", "py/.venv/pyvenv.cfg"})
        writeFile(home / file, "x");
    // Everything three hours old but the one file just written.
    const auto threeHoursAgo = fs::file_time_type::clock::now() - std::chrono::hours(3);
    for (auto it = fs::recursive_directory_iterator(home.path()); it != fs::recursive_directory_iterator(); ++it)
        if (it->path() != home / "fresh/target/debug/app") fs::last_write_time(it->path(), threeHoursAgo);

    std::vector<Rule> rules = dynamicBuildArtifactRules({home / "claimed", home.path()}, home.path(), home.path());
    ASSERT_EQ(rules.size(), 3u);
    EXPECT_EQ(rules[0].sub, home / "fresh/target") << "a folder written just now is listed; the clean's guard blocks it";
    EXPECT_EQ(rules[1].sub, home / "old/node_modules");
    EXPECT_EQ(rules[1].tier, Tier::redownload);
    EXPECT_EQ(rules[2].sub, home / "py/.venv");
    EXPECT_EQ(rules[2].tier, Tier::review) << "a virtual environment is shown, never offered by default";
    for (const Rule& rule : rules) {
        EXPECT_EQ(rule.owner, BUILD_ARTIFACTS_OWNER);
        EXPECT_TRUE(rule.verified) << "the marker is the evidence";
        EXPECT_TRUE(catalogEnglish(rule.component)) << rule.component;
        EXPECT_TRUE(catalogEnglish(rule.recovery)) << rule.recovery;
    }
}

}  // namespace
}  // namespace kelvor
