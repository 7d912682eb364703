#include "quillet/rules/resolve.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "quillet/clean/clean_plan.hpp"
#include "quillet/rules/hits.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using testing::TempHome;
using testing::writeFile;

bool offered(const std::vector<ResolvedRule>& resolved, const std::string& path) {
    return std::any_of(resolved.begin(), resolved.end(), [&](const ResolvedRule& each) { return each.path == path; });
}

const ResolvedRule* hubOf(const std::vector<ResolvedRule>& resolved) {
    for (const ResolvedRule& each : resolved)
        if (each.rule.owner == "HuggingFace" && each.rule.sub == "hub") return &each;
    return nullptr;
}

std::string parentOf(const std::string& path) { return fs::path(path).parent_path().string(); }

TEST(Resolve, TheRootTheHomeAndItsAncestorsAreNeverStores) {
    TempHome home;
    const std::string realHome = fs::canonical(home.path()).string();
    for (const std::string& value : {std::string("/"), home.path(), home.path() + "/", parentOf(home.path()),
                                     parentOf(parentOf(home.path())), std::string("/usr"), std::string("/etc/")}) {
        for (const char* name : {"HF_HUB_CACHE", "CARGO_HOME", "XDG_CACHE_HOME", "HF_HOME"}) {
            home.setEnv(name, value);
            std::vector<ResolvedRule> resolved = resolvedRules();
            for (const std::string& forbidden : {std::string("/"), realHome, parentOf(realHome), std::string("/usr"),
                                                 std::string("/etc")})
                EXPECT_FALSE(offered(resolved, forbidden)) << name << "=" << value << " offers " << forbidden;
            home.setEnv(name, "");
        }
    }
}

TEST(Resolve, ALinkToTheSystemIsNeverAStore) {
    TempHome home;
    fs::create_directories(home / ".npm");
    fs::create_directory_symlink("/usr", home / ".npm/_cacache");
    EXPECT_FALSE(offered(resolvedRules(), "/usr"));
    fs::create_directories(home / ".cache/huggingface");
    fs::create_directory_symlink("/usr/share", home / ".cache/huggingface/hub");
    // Someone else's folder for a person; for root, a place outside the home: refused either way.
    EXPECT_FALSE(offered(resolvedRules(), "/usr/share"));
}

TEST(Resolve, RootFollowsLinksOnlyWithinTheHome) {
    if (::geteuid() != 0) GTEST_SKIP() << "ownership limits everyone but root";
    TempHome home;
    std::string outside = fs::temp_directory_path() / ("kelvor-outside-" + std::to_string(::getpid()));
    fs::create_directories(outside);
    fs::create_directories(home / ".cache/huggingface");
    fs::create_directory_symlink(outside, home / ".cache/huggingface/hub");
    EXPECT_FALSE(offered(resolvedRules(), outside)) << "root owns it, yet it is not the person's store";
    fs::remove(home / ".cache/huggingface/hub");
    fs::remove(outside);
    fs::create_directories(home / "disk/hub");
    fs::create_directory_symlink(home / "disk/hub", home / ".cache/huggingface/hub");
    EXPECT_TRUE(offered(resolvedRules(), fs::canonical(home / "disk/hub").string())) << "a link within the home";
}

TEST(Resolve, AVariableNamingTheDefaultPlaceIsNoRelocation) {
    TempHome home;
    writeFile(home / ".cache/huggingface/hub/models--x/blob", std::string(5000, 'h'));
    for (const std::string& value : {home / ".cache", home / ".cache/", std::string("~/.cache")}) {
        SCOPED_TRACE(value);
        home.setEnv("XDG_CACHE_HOME", value);
        std::vector<ResolvedRule> resolved = resolvedRules();
        const ResolvedRule* hub = hubOf(resolved);
        ASSERT_NE(hub, nullptr);
        EXPECT_EQ(hub->relocated, std::nullopt);
        EXPECT_EQ(hub->linkedFrom, std::nullopt) << "a trailing slash is no link";
        std::vector<Hit> hits = collectHitsFrom(resolved, 1, {}, [](const std::string& path, int) {
            return measureTree(path, 1, std::chrono::seconds(10));
        });
        std::vector<CleanTarget> plan = planFromHits(hits, {});
        EXPECT_TRUE(std::any_of(plan.begin(), plan.end(), [&](const CleanTarget& target) { return target.path == hub->path; }))
            << "the hub stays verified and in the default plan";
    }
    home.setEnv("XDG_CACHE_HOME", home / "moved");
    writeFile(home / "moved/huggingface/hub/blob", "x");
    std::vector<ResolvedRule> moved = resolvedRules();
    ASSERT_NE(hubOf(moved), nullptr);
    EXPECT_EQ(hubOf(moved)->relocated, "XDG_CACHE_HOME") << "a real move still counts";
}

TEST(Resolve, AHomeReachedThroughALinkMakesNoLinkNotes) {
    TempHome home;
    writeFile(home / ".cache/huggingface/hub/blob", std::string(5000, 'h'));
    writeFile(home / ".npm/_cacache/index", std::string(3000, 'n'));
    std::string linkedHome = home / "../linked-home-" + std::to_string(::getpid());
    fs::create_directory_symlink(home.path(), linkedHome);
    for (const std::string& homeAs : {linkedHome, home.path() + "/"}) {
        home.setEnv("HOME", homeAs);
        for (const ResolvedRule& each : resolvedRules()) EXPECT_EQ(each.linkedFrom, std::nullopt) << homeAs << ": " << each.path;
    }
    fs::remove(linkedHome);
}

TEST(Resolve, ATildeInAVariableIsTheHome) {
    TempHome home;
    home.setEnv("HF_HOME", "~/x");
    writeFile(home / "x/hub/blob", "b");
    std::vector<ResolvedRule> resolved = resolvedRules();
    const ResolvedRule* hub = hubOf(resolved);
    ASSERT_NE(hub, nullptr);
    EXPECT_EQ(hub->path, fs::canonical(home / "x/hub").string());
    EXPECT_EQ(hub->relocated, "HF_HOME");
}

}  // namespace
}  // namespace kelvor
