#include <gtest/gtest.h>

#include <map>

#include "quillet/log/log.hpp"
#include "quillet/rules/catalog.hpp"
#include "quillet/rules/location.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

using testing::TempHome;

const Rule& catalogRule(const std::string& owner, const std::string& sub) {
    for (const Rule& rule : CATALOG)
        if (rule.owner == owner && rule.sub == sub) return rule;
    ADD_FAILURE() << "no catalog rule " << owner << " " << sub;
    return CATALOG->front();
}

// A lookup over a fixed map, empty values counting as unset like the real one.
EnvLookup lookupIn(std::map<std::string, std::string> values) {
    return [values = std::move(values)](std::string_view name) -> std::optional<std::string> {
        auto found = values.find(std::string(name));
        if (found == values.end() || found->second.empty()) return std::nullopt;
        return found->second;
    };
}

// The login shell's environment replaced for one test, and restored to "read nothing" after.
struct LoginScope {
    explicit LoginScope(LoginEnvironment values) {
        setLoginEnvironmentReader([values = std::move(values)] { return values; });
    }
    ~LoginScope() {
        setLoginEnvironmentReader([] { return LoginEnvironment{}; });
    }
};

TEST(Location, CasesOfTheLocationRule) {
    struct Case {
        std::string owner, sub;
        std::map<std::string, std::string> environment;
        RawPath expected;
    };
    const Case cases[] = {
        {"HuggingFace", "xet/chunk-cache", {}, {"/h/.cache/huggingface/xet/chunk-cache", std::nullopt}},
        {"HuggingFace", "xet/chunk-cache", {{"HF_XET_CACHE", "/x"}}, {"/x/chunk-cache", "HF_XET_CACHE"}},
        {"HuggingFace", "hub", {{"HF_HUB_CACHE", "/y"}}, {"/y", "HF_HUB_CACHE"}},
        {"HuggingFace", "hub", {{"HF_HOME", "/hf"}}, {"/hf/hub", "HF_HOME"}},
        {"HuggingFace", "hub", {{"HF_HUB_CACHE", "/y"}, {"HF_HOME", "/hf"}}, {"/y", "HF_HUB_CACHE"}},
        {"HuggingFace", "hub", {{"XDG_CACHE_HOME", "/c"}}, {"/c/huggingface/hub", "XDG_CACHE_HOME"}},
        {"HuggingFace", "datasets", {{"XDG_CACHE_HOME", "/c"}}, {"/c/huggingface/datasets", "XDG_CACHE_HOME"}},
        {"HuggingFace", "hub", {{"XDG_CACHE_HOME", "/c"}, {"HF_HOME", "/hf"}}, {"/hf/hub", "HF_HOME"}},
        // Bases without an XDG name ignore XDG_CACHE_HOME.
        {"PyTorch", "hub", {{"XDG_CACHE_HOME", "/c"}}, {"/h/.cache/torch/hub", std::nullopt}},
        {"Whisper", ".cache/whisper", {{"XDG_CACHE_HOME", "/c"}}, {"/h/.cache/whisper", std::nullopt}},
        {"Android SDK", "platforms", {{"ANDROID_SDK_ROOT", "/sdk"}}, {"/sdk/platforms", "ANDROID_SDK_ROOT"}},
        {"Android SDK", "platforms", {{"ANDROID_HOME", "/a"}, {"ANDROID_SDK_ROOT", "/sdk"}}, {"/a/platforms", "ANDROID_HOME"}},
        {"Android SDK", "platforms", {{"ANDROID_HOME", ""}, {"ANDROID_SDK_ROOT", "/sdk"}}, {"/sdk/platforms", "ANDROID_SDK_ROOT"}},
        // An unset or empty direct variable falls back to the base, never through envSub.
        {"NLTK", "nltk_data/corpora", {}, {"/h/nltk_data/corpora", std::nullopt}},
        {"NLTK", "nltk_data/corpora", {{"NLTK_DATA", ""}}, {"/h/nltk_data/corpora", std::nullopt}},
        {"NLTK", "nltk_data/corpora", {{"NLTK_DATA", "/n"}}, {"/n/corpora", "NLTK_DATA"}},
        {"Android Emulator", "", {}, {"/h/.android/avd", std::nullopt}},
        {"Android Emulator", "", {{"ANDROID_AVD_HOME", "/avd"}}, {"/avd", "ANDROID_AVD_HOME"}},
        {"Go", "Library/Caches/go-build", {{"GOPATH", "/gp"}}, {"/h/Library/Caches/go-build", std::nullopt}},
        {"Go", "pkg/mod", {{"GOPATH", "/gp"}}, {"/gp/pkg/mod", "GOPATH"}},
        {"opencode", ".cache/opencode", {{"XDG_CACHE_HOME", "/c"}}, {"/c/opencode", "XDG_CACHE_HOME"}},
    };
    for (const Case& c : cases) {
        std::string input = c.owner + " " + c.sub;
        for (const auto& [name, value] : c.environment) input += " " + name + "=" + value;
        EXPECT_EQ(resolveRawPath(catalogRule(c.owner, c.sub), lookupIn(c.environment), "/h"), c.expected) << input;
    }
}

TEST(Location, XdgCacheHomeAloneMovesOnlyBasesWithAnXdgName) {
    EnvLookup onlyXdg = lookupIn({{"XDG_CACHE_HOME", "/c"}});
    int moved = 0;
    for (const Rule& rule : CATALOG) {
        RawPath path = resolveRawPath(rule, onlyXdg, "/h");
        std::string input = rule.owner + " " + rule.sub;
        if (rule.directEnv == "XDG_CACHE_HOME") continue;  // a rule that names the variable itself
        if (rule.base.xdgName) {
            ++moved;
            EXPECT_EQ(path, (RawPath{"/c/huggingface/" + rule.sub, "XDG_CACHE_HOME"})) << input;
        } else {
            EXPECT_EQ(path, resolveRawPath(rule, lookupIn({}), "/h")) << input;
        }
    }
    EXPECT_EQ(moved, 6) << "the six HuggingFace rows";
}

TEST(Location, AbsoluteSubWithAnEmptyBaseStaysAsIs) {
    Rule rule{.owner = "Generated", .sub = "/Volumes/Work/cache"};
    EXPECT_EQ(resolveRawPath(rule, lookupIn({}), "/h").path, "/Volumes/Work/cache");
    Rule home{.owner = "Generated"};
    EXPECT_EQ(resolveRawPath(home, lookupIn({}), "/h").path, "/h");
}

TEST(Location, ProcessEnvironmentComesFirstAndEmptyIsUnset) {
    TempHome home;
    LoginScope login(LoginEnvironment{{"HF_HOME", "/login-hf"}});
    home.setEnv("HF_HOME", "/process-hf");
    EXPECT_EQ(ruleRawPath(catalogRule("HuggingFace", "hub")), (RawPath{"/process-hf/hub", "HF_HOME"}));
    home.setEnv("HF_HOME", "");
    EXPECT_EQ(ruleRawPath(catalogRule("HuggingFace", "hub")), (RawPath{"/login-hf/hub", "HF_HOME"}))
        << "an unset process variable lets the login shell's value count";
}

TEST(Location, LoginShellVariablesCountOnlyWhenTheyRelocate) {
    TempHome home;
    home.setEnv("HF_HUB_CACHE", "");
    home.setEnv("NLTK_DATA", "");
    home.setEnv("HF_HOME", "");
    LoginScope login(LoginEnvironment{{"HF_HUB_CACHE", "/from-login"}, {"NLTK_DATA", "/not-a-relocation-variable"}});
    EXPECT_EQ(env("HF_HUB_CACHE"), "/from-login");
    EXPECT_EQ(env("NLTK_DATA"), std::nullopt);
    EXPECT_EQ(ruleRawPath(catalogRule("HuggingFace", "hub")), (RawPath{"/from-login", "HF_HUB_CACHE"}));
    EXPECT_EQ(ruleRawPath(catalogRule("NLTK", "nltk_data/corpora")).path, home / "nltk_data/corpora");
}

TEST(Location, AFailedLoginReadLeavesTheProcessEnvironment) {
    TempHome home;
    home.setEnv("TORCH_HOME", "");
    LoginScope login(LoginEnvironment{});
    EXPECT_EQ(env("TORCH_HOME"), std::nullopt);
    EXPECT_EQ(ruleRawPath(catalogRule("PyTorch", "hub")), (RawPath{home / ".cache/torch/hub", std::nullopt}));
}

TEST(Location, TheLoginShellIsReadOnce) {
    int reads = 0;
    setLoginEnvironmentReader([&reads] {
        ++reads;
        return LoginEnvironment{{"CCACHE_DIR", "/cc"}};
    });
    TempHome home;
    home.setEnv("CCACHE_DIR", "");
    EXPECT_EQ(env("CCACHE_DIR"), "/cc");
    EXPECT_EQ(env("CCACHE_DIR"), "/cc");
    EXPECT_EQ(loginEnvironment().size(), 1u);
    EXPECT_EQ(reads, 1);
    setLoginEnvironmentReader([] { return LoginEnvironment{}; });
}

TEST(Location, TheRealReaderTakesOnlyRelocationVariablesFromSHELL) {
    TempHome home;
    // A login shell the test writes: it ignores its arguments and prints a fixed environment.
    std::string shell = home / "fake-shell";
    testing::writeFile(shell,
                       "#!/bin/sh\n"
                       "echo 'profile chatter'\n"
                       "printf 'PIXI_HOME=/pixi\\0NOT_RELOCATING=/x\\0HF_HOME=\\0PATH=/bin\\0'\n");
    std::filesystem::permissions(shell, std::filesystem::perms::owner_all);
    home.setEnv("SHELL", shell);
    home.setEnv("PIXI_HOME", "");
    setLoginEnvironmentReader(nullptr);
    EXPECT_EQ(loginEnvironment(), (LoginEnvironment{{"PIXI_HOME", "/pixi"}}));
    EXPECT_EQ(env("PIXI_HOME"), "/pixi");
    setLoginEnvironmentReader([] { return LoginEnvironment{}; });
    KelvorLog::drain();  // the read is logged in the temporary home, which must outlive the line
}

TEST(Location, RelocationVariablesAreFortyNineDistinctNames) {
    std::set<std::string_view> names(RELOCATION_VARS.begin(), RELOCATION_VARS.end());
    EXPECT_EQ(names.size(), 49u);
    EXPECT_EQ(RELOCATION_VARS.front(), "HF_HOME");
    EXPECT_EQ(RELOCATION_VARS.back(), "MIX_HOME");
    EXPECT_TRUE(isRelocationVar("UV_CACHE_DIR"));
    EXPECT_FALSE(isRelocationVar("HOME"));
}

TEST(Location, UvBaseFollowsTheXdgLayout) {
    Rule rule{.owner = "uv", .base = Base::uv, .sub = "wheels-v5"};
    EXPECT_EQ(resolveRawPath(rule, lookupIn({}), "/h").path, "/h/.cache/uv/wheels-v5");
    EXPECT_EQ(resolveRawPath(rule, lookupIn({{"UV_CACHE_DIR", "/u"}}), "/h"), (RawPath{"/u/wheels-v5", "UV_CACHE_DIR"}));
    EXPECT_EQ(resolveRawPath(rule, lookupIn({{"XDG_CACHE_HOME", "/c"}}), "/h").path, "/c/uv/wheels-v5");
}

}  // namespace
}  // namespace kelvor
