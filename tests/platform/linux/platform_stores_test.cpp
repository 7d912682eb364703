// On Linux a clean finds the stores of a Linux developer's home and the build folders of their
// projects: the program is run as a person would run it, over a home the test builds.
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/aged_tree.hpp"
#include "tests/support/run_kelvor.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

using testing::ageTree;
namespace fs = std::filesystem;
using testing::TempHome;
using testing::writeFile;

// The plan line that ends with `path`, or "" when the plan has none.
std::string planLine(const std::string& plan, const std::string& path) {
    size_t end = plan.find(" " + path + "\n");
    if (end == std::string::npos) return "";
    size_t start = plan.rfind('\n', end) + 1;
    return plan.substr(start, end - start);
}

struct Store {
    std::string path;   // below the home folder
    std::string label;  // "[tier] owner · "
};

const std::vector<Store> STORES = {
    {".cache/google-chrome", "[B] Google Chrome · "}, {".cache/go-build", "[B] Go · "},
    {".cache/yarn", "[A] Yarn · "},                   {".cache/uv", "[A] uv · "},
    {".cache/pypoetry/artifacts", "[A] Poetry · "},   {".cache/ms-playwright", "[A] Playwright · "},
    {".config/Code/CachedData", "[B] VS Code · "},    {".local/share/pnpm/store", "[A] pnpm · "},
    {"Android/Sdk/platforms", "[A] Android SDK · "},
};

void fillStore(const std::string& path) { writeFile(path + "/content/blob", std::string(40000, 's')); }

TEST(PlatformStores, ACleanListsALinuxHomesStoresAndProvenBuildFolders) {
    TempHome home;
    for (const Store& store : STORES) fillStore(home / store.path);
    fillStore(home / ".cache/JetBrains/IdeaIC2024.3");
    fillStore(home / ".local/share/containers/storage/overlay");
    writeFile(home / "code/web/package.json", "{}");
    fillStore(home / "code/web/node_modules");
    writeFile(home / "code/rusty/Cargo.toml", "[package]");
    fillStore(home / "code/rusty/target");
    writeFile(home / "code/busy/package.json", "{}");
    fillStore(home / "code/busy/node_modules");
    ageTree(home / "code");
    fs::last_write_time(home / "code/busy/node_modules/content/blob",
                        fs::file_time_type::clock::now() - std::chrono::minutes(1));
    auto run = testing::runKelvorBinary({"--mode", "clean"});
    ASSERT_EQ(run.status, 0) << run.err;
    for (const Store& store : STORES)
        EXPECT_TRUE(planLine(run.out, home / store.path).starts_with("  " + store.label)) << store.path << "\n" << run.out;
    EXPECT_TRUE(planLine(run.out, home / "code/web/node_modules").starts_with("  [A] Build artifacts · ")) << run.out;
    EXPECT_TRUE(planLine(run.out, home / "code/rusty/target").starts_with("  [B] Build artifacts · ")) << run.out;
    // A project folder written a minute ago is listed, blocked by the recent-write guard.
    size_t busy = run.out.find(" " + home / "code/busy/node_modules" + "\n");
    ASSERT_NE(busy, std::string::npos) << run.out;
    EXPECT_GT(busy, run.out.find("   guard-blocked:\n")) << run.out;
    EXPECT_EQ(run.out.find("     ⛔ files modified within", busy), run.out.find('\n', busy) + 1) << run.out;
    // Shown below the plan, never in it: the person's own call, and a store only podman may clear.
    size_t leftAlone = run.out.find("Not offered — yours to judge, or protected:\n");
    ASSERT_NE(leftAlone, std::string::npos) << run.out;
    EXPECT_GT(run.out.find(home / ".cache/JetBrains"), leftAlone) << run.out;
    EXPECT_NE(run.out.find(home / ".local/share/containers/storage\n     ↳ Only podman may remove it: clear it with podman system prune\n"),
              std::string::npos)
        << run.out;
}

// Which store moves with which variable is the Linux table's business (tests/rules); here the
// program prints the move.
TEST(PlatformStores, AStoreMovedByXdgCacheHomeIsListedThereAsRelocated) {
    TempHome home;
    fillStore(home / ".cache/yarn");  // left behind at the default place
    fillStore(home / "elsewhere/yarn");
    auto run = testing::runKelvorBinary({"--mode", "clean", "--include-unverified"},
                                        {"XDG_CACHE_HOME=" + (home / "elsewhere")});
    ASSERT_EQ(run.status, 0) << run.err;
    std::string line = planLine(run.out, home / "elsewhere/yarn");
    EXPECT_TRUE(line.starts_with("  [A] Yarn · ")) << run.out;
    EXPECT_NE(line.find("(env-relocated — confirm per item)"), std::string::npos) << line;
    EXPECT_EQ(planLine(run.out, home / ".cache/yarn"), "") << "no longer the tool's store";
}

}  // namespace
}  // namespace kelvor
