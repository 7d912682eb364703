#include "quillet/rules/build_artifacts.hpp"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <set>

#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using testing::TempHome;
using testing::writeFile;

constexpr std::int64_t HOUR = 3600;

// Every entry of the tree at `path`, the folder itself included, modified `age` seconds ago.
void ageTree(const std::string& path, std::int64_t age) {
    auto when = fs::file_time_type::clock::now() - std::chrono::seconds(age);
    std::error_code ignored;
    for (auto it = fs::recursive_directory_iterator(path); it != fs::recursive_directory_iterator(); ++it)
        if (!it->is_symlink()) fs::last_write_time(it->path(), when, ignored);
    fs::last_write_time(path, when, ignored);
}

std::set<std::string> foundPaths(const std::string& root, const std::string& home) {
    std::set<std::string> paths;
    for (const ArtifactFind& find : findBuildArtifacts(root, home)) paths.insert(find.path);
    return paths;
}

TEST(BuildArtifacts, AFolderCountsOnlyWithTheMarkerThatProvesItsKind) {
    TempHome home;
    writeFile(home / "code/rusty/Cargo.toml", "[package]");
    writeFile(home / "code/rusty/target/debug/app", "x");
    writeFile(home / "code/notrust/target/report.pdf", "x");  // a folder named target, nothing more
    writeFile(home / "code/web/package.json", "{}");
    writeFile(home / "code/web/node_modules/left-pad/index.js", "x");
    writeFile(home / "code/orphan/node_modules/a/index.js", "x");
    writeFile(home / "code/cpp/build/CMakeCache.txt", "x");
    writeFile(home / "code/cpp/CMakeLists.txt", "x");
    writeFile(home / "code/notes/build/CMakeLists.txt", "x");  // build/ without a cache is not a build folder
    writeFile(home / "code/py/.venv/pyvenv.cfg", "home = /usr/bin");
    writeFile(home / "code/py/venv/lib/site.py", "x");  // no pyvenv.cfg inside

    EXPECT_EQ(foundPaths(home.path(), home.path()),
              (std::set<std::string>{home / "code/rusty/target", home / "code/web/node_modules",
                                     home / "code/cpp/build", home / "code/py/.venv"}));
}

TEST(BuildArtifacts, TheWalkSkipsHiddenHomeFoldersHistoryAndWhatItFound) {
    TempHome home;
    for (const char* project : {".config/Code/extension", ".local/share/app", "code/.git/modules/x", "code/app"})
        writeFile(home / (std::string(project) + "/package.json"), "{}"),
            writeFile(home / (std::string(project) + "/node_modules/dep/index.js"), "x");
    // A project inside a dependency is the dependency's business, not a second find.
    writeFile(home / "code/app/node_modules/dep/package.json", "{}");
    writeFile(home / "code/app/node_modules/dep/node_modules/inner/index.js", "x");
    // Hidden folders deeper than the home's own are ordinary project folders.
    writeFile(home / "code/.hidden-project/Cargo.toml", "x");
    writeFile(home / "code/.hidden-project/target/x", "x");

    EXPECT_EQ(foundPaths(home.path(), home.path()),
              (std::set<std::string>{home / "code/app/node_modules", home / "code/.hidden-project/target"}));
}

TEST(BuildArtifacts, AFolderHoldingTheProjectsOwnSourcesIsNeverOffered) {
    TempHome home;
    writeFile(home / "code/outer/Cargo.toml", "x");
    writeFile(home / "code/outer/target/Cargo.toml", "x");  // a crate that happens to be called target
    writeFile(home / "code/tool/package.json", "{}");
    writeFile(home / "code/tool/node_modules/.git/HEAD", "x");  // a checkout, not an install
    fs::create_directories(home / "elsewhere");
    fs::create_directory_symlink(home / "elsewhere", home / "code/linked");
    writeFile(home / "elsewhere/Cargo.toml", "x");
    writeFile(home / "elsewhere/target/x", "x");

    EXPECT_EQ(foundPaths(home.path(), home.path()), (std::set<std::string>{home / "elsewhere/target"}))
        << "the link to elsewhere is not followed; the folder itself is found once, where it is";
}

TEST(BuildArtifacts, AnotherFileSystemMountedInsideIsNotWalked) {
    if (::geteuid() != 0) GTEST_SKIP() << "mounting needs root (CI runs as root)";
    TempHome home;
    fs::create_directories(home / "code/share");
    if (::mount("tmpfs", (home / "code/share").c_str(), "tmpfs", 0, "size=1m") != 0)
        GTEST_SKIP() << "this machine allows no tmpfs mount";
    writeFile(home / "code/share/Cargo.toml", "x");
    writeFile(home / "code/share/target/x", "x");
    writeFile(home / "code/local/Cargo.toml", "x");
    writeFile(home / "code/local/target/x", "x");
    std::set<std::string> found = foundPaths(home.path(), home.path());
    ::umount2((home / "code/share").c_str(), MNT_DETACH);
    EXPECT_EQ(found, std::set<std::string>{home / "code/local/target"});
}

TEST(BuildArtifacts, RulesLeaveOutClaimedFoldersKeepRecentOnesAndTiersOfTheirKind) {
    TempHome home;
    writeFile(home / "old/package.json", "{}");
    writeFile(home / "old/node_modules/a/index.js", "x");
    writeFile(home / "fresh/Cargo.toml", "x");
    writeFile(home / "fresh/target/debug/app", "x");
    writeFile(home / "claimed/Cargo.toml", "x");
    writeFile(home / "claimed/target/x", "x");
    writeFile(home / "py/.venv/pyvenv.cfg", "x");
    for (const char* tree : {"old", "fresh", "claimed", "py"}) ageTree(home / tree, 3 * HOUR);
    fs::last_write_time(home / "fresh/target/debug/app", fs::file_time_type::clock::now());

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
