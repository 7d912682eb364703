#include "quillet/rules/linux_catalog.hpp"

#include <gtest/gtest.h>

#include <map>
#include <set>

#include "quillet/rules/catalog.hpp"
#include "quillet/rules/location.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

using testing::TempHome;

const Rule& rowAt(const std::string& defaultPath) {
    for (const Rule& rule : linuxTableRules())
        if (resolveRawPath(rule, [](std::string_view) { return std::optional<std::string>(); }, "~").path == defaultPath)
            return rule;
    static const Rule none{};
    ADD_FAILURE() << "no Linux row for " << defaultPath;
    return none;
}

std::string pathWith(const Rule& rule, const std::string& name, const std::string& value) {
    auto lookup = [&](std::string_view asked) {
        return asked == name ? std::optional<std::string>(value) : std::optional<std::string>();
    };
    return resolveRawPath(rule, lookup, "/home/u").path;
}

// Which XDG variable each tool really honours, from its own documentation or source.
struct Honoured {
    std::string defaultPath;
    std::string variable;  // "" when the tool ignores every XDG variable
    std::string movedTo;   // the path with the variable set to /x
};

TEST(LinuxCatalog, EachStoreMovesWithTheXdgVariableItsToolHonoursAndNoOther) {
    const std::vector<Honoured> cases = {
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
    for (const Honoured& each : cases) {
        const Rule& rule = rowAt(each.defaultPath);
        std::string unmoved = pathWith(rule, "NOTHING", "");
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
        if (name == "PNPM_HOME") return "/p";
        if (name == "XDG_DATA_HOME") return "/x";
        return std::nullopt;
    };
    RawPath path = resolveRawPath(pnpm, both, "/home/u");
    EXPECT_EQ(path.path, "/p/store");
    EXPECT_EQ(path.relocated, "PNPM_HOME");
}

TEST(LinuxCatalog, AnOlderFolderCountsWhileItExistsAsItsToolDecides) {
    TempHome home;
    auto pathsOf = [](const std::vector<Rule>& rules, const std::string& owner) {
        std::set<std::string> paths;
        for (const Rule& rule : rules)
            if (rule.owner == owner) paths.insert(ruleRawPath(rule).path);
        return paths;
    };
    std::set<std::string> madeFolders;
    auto exists = [&](const std::string& path) { return madeFolders.contains(path); };
    EXPECT_EQ(pathsOf(linuxStoreRules(exists), "ccache"), std::set<std::string>{home / ".cache/ccache"});
    madeFolders.insert(home / ".ccache");
    EXPECT_EQ(pathsOf(linuxStoreRules(exists), "ccache"), std::set<std::string>{home / ".ccache"});
    EXPECT_EQ(pathsOf(linuxStoreRules(exists), "pipx").count(home / ".local/share/pipx/venvs"), 1u);
    madeFolders.insert(home / ".local/pipx/venvs");
    EXPECT_EQ(pathsOf(linuxStoreRules(exists), "pipx").count(home / ".local/pipx/venvs"), 1u);
    EXPECT_EQ(pathsOf(linuxStoreRules(exists), "pipx").count(home / ".local/share/pipx/venvs"), 0u);
}

TEST(LinuxCatalog, EveryLabelIsRegisteredAndEveryPathOwnedOnce) {
    std::set<std::pair<std::string, std::string>> seen;
    for (const Rule& rule : linuxTableRules()) {
        EXPECT_TRUE(catalogEnglish(rule.component)) << rule.owner << " · " << rule.component;
        EXPECT_TRUE(catalogEnglish(rule.recovery)) << rule.owner << " · " << rule.recovery;
        EXPECT_FALSE(rule.source.empty()) << rule.owner << " · " << rule.component;
        std::string path = resolveRawPath(rule, [](std::string_view) { return std::optional<std::string>(); }, "~").path;
        EXPECT_TRUE(seen.insert({rule.owner, path}).second) << "two rows of " << rule.owner << " name " << path;
    }
}

TEST(LinuxCatalog, PlacesOutsideTheHomeAreProtectedAndNameTheirToolsCommand) {
    size_t outside = 0;
    for (const Rule& rule : linuxTableRules()) {
        if (!rule.sub.starts_with("/")) continue;
        ++outside;
        EXPECT_EQ(rule.tier, Tier::protected_) << rule.sub << ": only its own tool may clear it";
        std::optional<std::string> english = catalogEnglish(rule.recovery);
        ASSERT_TRUE(english) << rule.sub;
        EXPECT_NE(english->find("clear it with "), std::string::npos) << rule.sub << ": " << *english;
    }
    EXPECT_GT(outside, 0u);
}

}  // namespace
}  // namespace kelvor
