#include "quillet/rules/linux_catalog.hpp"

#include <gtest/gtest.h>

#include <set>

#include "quillet/rules/location.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

using testing::TempHome;

// Where `rule` puts its store with only `name` set to `value`, in a home written `home`.
std::string pathWith(const Rule& rule, std::string_view name = "", const std::string& value = "",
                     const std::string& home = "/home/u") {
    auto lookup = [&](std::string_view asked) { return asked == name ? std::optional(value) : std::nullopt; };
    return resolveRawPath(rule, lookup, home).path;
}

const Rule& rowAt(const std::string& defaultPath) {
    for (const Rule& rule : linuxTableRules())
        if (pathWith(rule, "", "", "~") == defaultPath) return rule;
    static const Rule none{};
    ADD_FAILURE() << "no Linux row for " << defaultPath;
    return none;
}

TEST(LinuxCatalog, EachStoreMovesWithTheXdgVariableItsToolHonoursAndNoOther) {
    // Which XDG variable each tool really honours, from its own documentation or source ("" for
    // none), and where the store goes with that variable set to /x.
    const struct {
        std::string defaultPath, variable, movedTo;
    } cases[] = {
        {"~/.cache/go-build", "XDG_CACHE_HOME", "/x/go-build"},
        {"~/.cache/yarn", "XDG_CACHE_HOME", "/x/yarn"},
        {"~/.cache/uv", "XDG_CACHE_HOME", "/x/uv"},
        {"~/.cache/pypoetry/artifacts", "XDG_CACHE_HOME", "/x/pypoetry/artifacts"},
        {"~/.cache/ms-playwright", "XDG_CACHE_HOME", "/x/ms-playwright"},
        {"~/.cache/JetBrains", "XDG_CACHE_HOME", "/x/JetBrains"},
        {"~/.cache/google-chrome", "XDG_CACHE_HOME", "/x/google-chrome"},
        {"~/.config/Code/CachedData", "XDG_CONFIG_HOME", "/x/Code/CachedData"},
        {"~/.config/google-chrome/OptGuideOnDeviceModel", "XDG_CONFIG_HOME", "/x/google-chrome/OptGuideOnDeviceModel"},
        {"~/.local/share/pnpm/store", "XDG_DATA_HOME", "/x/pnpm/store"},
        {"~/.local/share/containers/storage", "XDG_DATA_HOME", "/x/containers/storage"},
        {"~/.local/state/goose/logs", "XDG_STATE_HOME", "/x/goose/logs"},
        {"~/.cache/bazel", "", ""},
        {"~/.cache/Cypress", "", ""},
        {"~/Android/Sdk/platforms", "", ""},
    };
    for (const auto& each : cases) {
        const Rule& rule = rowAt(each.defaultPath);
        std::string unmoved = pathWith(rule);
        for (const char* variable : {"XDG_CACHE_HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_STATE_HOME"}) {
            std::string moved = pathWith(rule, variable, "/x");
            if (variable == each.variable) EXPECT_EQ(moved, each.movedTo) << each.defaultPath << " " << variable;
            else EXPECT_EQ(moved, unmoved) << each.defaultPath << " must ignore " << variable;
        }
    }
}

TEST(LinuxCatalog, TheToolsOwnVariableWinsOverXdg) {
    const Rule& pnpm = rowAt("~/.local/share/pnpm/store");
    auto both = [](std::string_view name) -> std::optional<std::string> {
        if (name == "PNPM_HOME" || name == "XDG_DATA_HOME") return name == "PNPM_HOME" ? "/p" : "/x";
        return std::nullopt;
    };
    EXPECT_EQ(resolveRawPath(pnpm, both, "/home/u"), (RawPath{"/p/store", "PNPM_HOME"}));
}

TEST(LinuxCatalog, AnOlderFolderCountsWhileItExistsAsItsToolDecides) {
    TempHome home;
    std::set<std::string> madeFolders;
    auto pathsOf = [&](const std::string& owner) {
        std::set<std::string> paths;
        for (const Rule& rule : linuxStoreRules([&](const std::string& path) { return madeFolders.contains(path); }))
            if (rule.owner == owner) paths.insert(ruleRawPath(rule).path);
        return paths;
    };
    EXPECT_EQ(pathsOf("ccache"), std::set<std::string>{home / ".cache/ccache"});
    madeFolders.insert(home / ".ccache");
    EXPECT_EQ(pathsOf("ccache"), std::set<std::string>{home / ".ccache"});
    EXPECT_TRUE(pathsOf("pipx").contains(home / ".local/share/pipx/venvs"));
    madeFolders.insert(home / ".local/pipx/venvs");
    EXPECT_TRUE(pathsOf("pipx").contains(home / ".local/pipx/venvs"));
    EXPECT_FALSE(pathsOf("pipx").contains(home / ".local/share/pipx/venvs"));
}

TEST(LinuxCatalog, EveryRowIsRegisteredOwnedOnceAndProtectedOutsideTheHome) {
    std::set<std::pair<std::string, std::string>> seen;
    size_t outside = 0;
    for (const Rule& rule : linuxTableRules()) {
        std::string path = pathWith(rule, "", "", "~");
        SCOPED_TRACE(rule.owner + " · " + path);
        EXPECT_TRUE(catalogEnglish(rule.component)) << rule.component;
        std::optional<std::string> recovery = catalogEnglish(rule.recovery);
        EXPECT_TRUE(recovery) << rule.recovery;
        EXPECT_FALSE(rule.source.empty());
        EXPECT_TRUE(seen.insert({rule.owner, path}).second) << "two rows of one owner name one path";
        if (!rule.sub.starts_with("/")) continue;
        ++outside;
        EXPECT_EQ(rule.tier, Tier::protected_) << "only its own tool may clear a place outside the home";
        EXPECT_NE(recovery.value_or("").find("clear it with "), std::string::npos) << recovery.value_or("");
    }
    EXPECT_GT(outside, 0u);
}

}  // namespace
}  // namespace kelvor
