#include "quillet/rules/location.hpp"

#include <gtest/gtest.h>

#include <filesystem>

#include "quillet/log/log.hpp"
#include "quillet/rules/catalog.hpp"
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

// The login shell's environment replaced while the scope lives; afterwards it reads nothing again,
// as the test binary set it up.
struct LoginScope {
    explicit LoginScope(LoginEnvironmentReader reader) { setLoginEnvironmentReader(std::move(reader)); }
    explicit LoginScope(LoginEnvironment values) : LoginScope([values] { return values; }) {}
    ~LoginScope() { setLoginEnvironmentReader([] { return LoginEnvironment{}; }); }
};

// A lookup over a fixed map, empty values counting as unset like the real one.
EnvLookup lookupIn(std::map<std::string, std::string> values) {
    return [values = std::move(values)](std::string_view name) -> std::optional<std::string> {
        auto found = values.find(std::string(name));
        if (found == values.end() || found->second.empty()) return std::nullopt;
        return found->second;
    };
}

// XDG_CACHE_HOME alone is checked over the whole catalog below.
TEST(Location, CasesOfTheLocationRule) {
    auto row = catalogRule;
    const struct {
        Rule rule;
        std::map<std::string, std::string> environment;
        RawPath expected;
    } cases[] = {
        {row("HuggingFace", "xet/chunk-cache"), {}, {"/h/.cache/huggingface/xet/chunk-cache", std::nullopt}},
        {row("HuggingFace", "xet/chunk-cache"), {{"HF_XET_CACHE", "/x"}}, {"/x/chunk-cache", "HF_XET_CACHE"}},
        {row("HuggingFace", "hub"), {{"HF_HUB_CACHE", "/y"}}, {"/y", "HF_HUB_CACHE"}},
        {row("HuggingFace", "hub"), {{"HF_HOME", "/hf"}}, {"/hf/hub", "HF_HOME"}},
        {row("HuggingFace", "hub"), {{"HF_HUB_CACHE", "/y"}, {"HF_HOME", "/hf"}}, {"/y", "HF_HUB_CACHE"}},
        {row("HuggingFace", "hub"), {{"XDG_CACHE_HOME", "/c"}, {"HF_HOME", "/hf"}}, {"/hf/hub", "HF_HOME"}},
        {row("Android SDK", "platforms"), {{"ANDROID_SDK_ROOT", "/sdk"}}, {"/sdk/platforms", "ANDROID_SDK_ROOT"}},
        {row("Android SDK", "platforms"), {{"ANDROID_HOME", "/a"}, {"ANDROID_SDK_ROOT", "/sdk"}}, {"/a/platforms", "ANDROID_HOME"}},
        {row("Android SDK", "platforms"), {{"ANDROID_HOME", ""}, {"ANDROID_SDK_ROOT", "/sdk"}}, {"/sdk/platforms", "ANDROID_SDK_ROOT"}},
        // An unset or empty direct variable falls back to the base, never through envSub.
        {row("NLTK", "nltk_data/corpora"), {}, {"/h/nltk_data/corpora", std::nullopt}},
        {row("NLTK", "nltk_data/corpora"), {{"NLTK_DATA", ""}}, {"/h/nltk_data/corpora", std::nullopt}},
        {row("NLTK", "nltk_data/corpora"), {{"NLTK_DATA", "/n"}}, {"/n/corpora", "NLTK_DATA"}},
        {row("Android Emulator", ""), {}, {"/h/.android/avd", std::nullopt}},
        {row("Android Emulator", ""), {{"ANDROID_AVD_HOME", "/avd"}}, {"/avd", "ANDROID_AVD_HOME"}},
        {row("Go", "Library/Caches/go-build"), {{"GOPATH", "/gp"}}, {"/h/Library/Caches/go-build", std::nullopt}},
        {row("Go", "pkg/mod"), {{"GOPATH", "/gp"}}, {"/gp/pkg/mod", "GOPATH"}},
        {row("opencode", ".cache/opencode"), {{"XDG_CACHE_HOME", "/c"}}, {"/c/opencode", "XDG_CACHE_HOME"}},
        {{.owner = "uv", .base = Base::uv, .sub = "wheels-v5"}, {}, {"/h/.cache/uv/wheels-v5", std::nullopt}},
        {{.owner = "uv", .base = Base::uv, .sub = "wheels-v5"}, {{"UV_CACHE_DIR", "/u"}}, {"/u/wheels-v5", "UV_CACHE_DIR"}},
        {{.owner = "uv", .base = Base::uv, .sub = "wheels-v5"}, {{"XDG_CACHE_HOME", "/c"}}, {"/c/uv/wheels-v5", "XDG_CACHE_HOME"}},
        // A generated rule: an absolute sub with an empty base stays as it is; no sub is the home.
        {{.owner = "Generated", .sub = "/Volumes/Work/cache"}, {}, {"/Volumes/Work/cache", std::nullopt}},
        {{.owner = "Generated"}, {}, {"/h", std::nullopt}},
    };
    for (const auto& c : cases) {
        std::string input = c.rule.owner + " " + c.rule.sub;
        for (const auto& [name, value] : c.environment) input += " " + name + "=" + value;
        EXPECT_EQ(resolveRawPath(c.rule, lookupIn(c.environment), "/h"), c.expected) << input;
    }
}

TEST(Location, XdgCacheHomeAloneMovesOnlyBasesWithAnXdgName) {
    int moved = 0;
    for (const Rule& rule : CATALOG) {
        if (rule.directEnv == "XDG_CACHE_HOME") continue;  // a rule that names the variable itself
        RawPath path = resolveRawPath(rule, lookupIn({{"XDG_CACHE_HOME", "/c"}}), "/h");
        SCOPED_TRACE(rule.owner + " " + rule.sub);
        if (!rule.base.xdgName) {
            EXPECT_EQ(path, resolveRawPath(rule, lookupIn({}), "/h"));
            continue;
        }
        ++moved;
        EXPECT_EQ(path, (RawPath{"/c/huggingface/" + rule.sub, "XDG_CACHE_HOME"}));
    }
    EXPECT_GT(moved, 0);
}

TEST(Location, TheProcessEnvironmentComesFirstAndTheLoginShellCountsOnlyForRelocations) {
    TempHome home;
    LoginScope login(LoginEnvironment{{"HF_HOME", "/login-hf"}, {"NLTK_DATA", "/not-a-relocation-variable"}});
    home.setEnv("HF_HOME", "/process-hf");
    EXPECT_EQ(ruleRawPath(catalogRule("HuggingFace", "hub")), (RawPath{"/process-hf/hub", "HF_HOME"}));
    home.setEnv("HF_HOME", "");
    EXPECT_EQ(ruleRawPath(catalogRule("HuggingFace", "hub")), (RawPath{"/login-hf/hub", "HF_HOME"}))
        << "an unset process variable lets the login shell's value count";
    home.setEnv("NLTK_DATA", "");
    EXPECT_EQ(env("NLTK_DATA"), std::nullopt);
    EXPECT_EQ(ruleRawPath(catalogRule("NLTK", "nltk_data/corpora")).path, home / "nltk_data/corpora");
}

TEST(Location, TheLoginShellIsReadOnce) {
    int reads = 0;
    LoginScope login([&reads] {
        ++reads;
        return LoginEnvironment{{"CCACHE_DIR", "/cc"}};
    });
    TempHome home;
    home.setEnv("CCACHE_DIR", "");
    EXPECT_EQ(env("CCACHE_DIR"), "/cc");
    EXPECT_EQ(env("CCACHE_DIR"), "/cc");
    EXPECT_EQ(reads, 1);
}

TEST(Location, TheRealReaderTakesOnlyRelocationVariablesFromSHELL) {
    TempHome home;
    // A login shell that ignores its arguments and prints a fixed environment after some chatter.
    std::string shell = home / "fake-shell";
    testing::writeFile(shell, "#!/bin/sh\necho 'profile chatter'\n"
                              "printf 'PIXI_HOME=/pixi\\0NOT_RELOCATING=/x\\0HF_HOME=\\0PATH=/bin\\0'\n");
    std::filesystem::permissions(shell, std::filesystem::perms::owner_all);
    home.setEnv("SHELL", shell);
    home.setEnv("PIXI_HOME", "");
    {
        LoginScope real(nullptr);
        EXPECT_EQ(loginEnvironment(), (LoginEnvironment{{"PIXI_HOME", "/pixi"}}));
        EXPECT_EQ(env("PIXI_HOME"), "/pixi");
    }
    KelvorLog::drain();  // the read is logged in the temporary home, which must outlive the line
}

}  // namespace
}  // namespace kelvor
