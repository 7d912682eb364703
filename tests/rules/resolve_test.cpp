#include "quillet/rules/resolve.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "quillet/clean/clean_plan.hpp"
#include "quillet/rules/catalog.hpp"
#include "quillet/rules/hits.hpp"
#include "quillet/rules/location.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using testing::TempHome;
using testing::writeFile;

// No login shell for these tests: only the variables each test sets count.
struct NoLoginShell {
    NoLoginShell() { setLoginEnvironmentReader([] { return LoginEnvironment{}; }); }
    ~NoLoginShell() { setLoginEnvironmentReader([] { return LoginEnvironment{}; }); }
};

const Rule& catalogRule(const std::string& owner, const std::string& sub) {
    for (const Rule& rule : CATALOG)
        if (rule.owner == owner && rule.sub == sub) return rule;
    ADD_FAILURE() << "no catalog rule " << owner << " " << sub;
    return CATALOG->front();
}

std::optional<ResolvedRule> findPath(const std::vector<ResolvedRule>& resolved, const std::string& path) {
    for (const ResolvedRule& each : resolved)
        if (each.path == path) return each;
    return std::nullopt;
}

const ResolvedRule* hubOf(const std::vector<ResolvedRule>& resolved) {
    for (const ResolvedRule& each : resolved)
        if (each.rule.owner == "HuggingFace" && each.rule.sub == "hub") return &each;
    return nullptr;
}

std::string parentOf(const std::string& path) { return fs::path(path).parent_path().string(); }

TEST(Resolve, TheRootTheHomeAndItsAncestorsAreNeverStores) {
    TempHome home;
    NoLoginShell noLogin;
    const std::string realHome = fs::canonical(home.path()).string();
    const std::string unsafe[] = {"/", home.path(), home.path() + "/", parentOf(home.path()),
                                  parentOf(parentOf(home.path())), "/usr", "/etc/"};
    for (const std::string& value : unsafe) {
        for (const char* name : {"HF_HUB_CACHE", "CARGO_HOME", "XDG_CACHE_HOME", "HF_HOME"}) {
            home.setEnv(name, value);
            std::vector<ResolvedRule> resolved = resolvedRules();
            for (const std::string& forbidden : {std::string("/"), realHome, parentOf(realHome), std::string("/usr"),
                                                 std::string("/etc")})
                EXPECT_FALSE(findPath(resolved, forbidden)) << name << "=" << value << " offers " << forbidden;
            home.setEnv(name, "");
        }
    }
}

TEST(Resolve, ALinkToTheSystemIsNeverAStore) {
    TempHome home;
    NoLoginShell noLogin;
    fs::create_directories(home / ".npm");
    fs::create_directory_symlink("/usr", home / ".npm/_cacache");
    EXPECT_FALSE(findPath(resolvedRules(), "/usr"));
    fs::create_directories(home / ".cache/huggingface");
    fs::create_directory_symlink("/usr/share", home / ".cache/huggingface/hub");
    // Someone else's folder for a person; for root, a place outside the home: refused either way.
    EXPECT_FALSE(findPath(resolvedRules(), "/usr/share"));
}

TEST(Resolve, RootFollowsLinksOnlyWithinTheHome) {
    if (::geteuid() != 0) GTEST_SKIP() << "ownership limits everyone but root";
    TempHome home;
    NoLoginShell noLogin;
    std::string outside = fs::temp_directory_path() / ("kelvor-outside-" + std::to_string(::getpid()));
    fs::create_directories(outside);
    fs::create_directories(home / ".cache/huggingface");
    fs::create_directory_symlink(outside, home / ".cache/huggingface/hub");
    EXPECT_FALSE(findPath(resolvedRules(), outside)) << "root owns it, yet it is not the person's store";
    fs::remove(home / ".cache/huggingface/hub");
    fs::create_directories(home / "disk/hub");
    fs::create_directory_symlink(home / "disk/hub", home / ".cache/huggingface/hub");
    EXPECT_TRUE(findPath(resolvedRules(), fs::canonical(home / "disk/hub").string())) << "a link within the home";
    fs::remove(outside);
}

TEST(Resolve, AVariableNamingTheDefaultPlaceIsNoRelocation) {
    TempHome home;
    NoLoginShell noLogin;
    writeFile(home / ".cache/huggingface/hub/models--x/blob", std::string(5000, 'h'));
    for (const std::string& value : {home / ".cache", home / ".cache/", std::string("~/.cache")}) {
        home.setEnv("XDG_CACHE_HOME", value);
        std::vector<ResolvedRule> resolved = resolvedRules();
        const ResolvedRule* hub = hubOf(resolved);
        ASSERT_NE(hub, nullptr) << value;
        EXPECT_EQ(hub->relocated, std::nullopt) << value;
        EXPECT_EQ(hub->linkedFrom, std::nullopt) << "a trailing slash is no link: " << value;
        std::vector<Hit> hits = collectHitsFrom(resolved, 1, {}, [](const std::string& path, int) {
            return measureTree(path, 1, std::chrono::seconds(10));
        });
        std::vector<CleanTarget> plan = planFromHits(hits, {});
        EXPECT_TRUE(std::any_of(plan.begin(), plan.end(), [&](const CleanTarget& target) { return target.path == hub->path; }))
            << "the hub stays verified and in the default plan: " << value;
    }
    home.setEnv("XDG_CACHE_HOME", home / "moved");
    writeFile(home / "moved/huggingface/hub/blob", "x");
    std::vector<ResolvedRule> moved = resolvedRules();
    ASSERT_NE(hubOf(moved), nullptr);
    EXPECT_EQ(hubOf(moved)->relocated, "XDG_CACHE_HOME") << "a real move still counts";
}

TEST(Resolve, AHomeReachedThroughALinkMakesNoLinkNotes) {
    TempHome home;
    NoLoginShell noLogin;
    writeFile(home / ".cache/huggingface/hub/blob", std::string(5000, 'h'));
    writeFile(home / ".npm/_cacache/index", std::string(3000, 'n'));
    std::string linkedHome = home / "../linked-home-" + std::to_string(::getpid());
    fs::create_directory_symlink(home.path(), linkedHome);
    home.setEnv("HOME", linkedHome);
    for (const ResolvedRule& each : resolvedRules()) {
        EXPECT_EQ(each.linkedFrom, std::nullopt) << each.path;
    }
    home.setEnv("HOME", home.path() + "/");
    for (const ResolvedRule& each : resolvedRules()) {
        EXPECT_EQ(each.linkedFrom, std::nullopt) << each.path;
    }
    fs::remove(linkedHome);
}

TEST(Resolve, ATildeInAVariableIsTheHome) {
    TempHome home;
    NoLoginShell noLogin;
    home.setEnv("HF_HOME", "~/x");
    EXPECT_EQ(ruleRawPath(catalogRule("HuggingFace", "hub")).path, home / "x/hub");
    writeFile(home / "x/hub/blob", "b");
    std::vector<ResolvedRule> resolved = resolvedRules();
    const ResolvedRule* hub = hubOf(resolved);
    ASSERT_NE(hub, nullptr);
    EXPECT_EQ(hub->path, fs::canonical(home / "x/hub").string());
    EXPECT_EQ(hub->relocated, "HF_HOME");
}

}  // namespace
}  // namespace kelvor
