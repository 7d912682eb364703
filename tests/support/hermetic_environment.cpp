#include "tests/support/hermetic_environment.hpp"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <set>
#include <string_view>

#include "quillet/i18n/app_lang.hpp"
#include "quillet/log/log.hpp"
#include "quillet/rules/catalog.hpp"
#include "quillet/rules/location.hpp"

extern char** environ;

namespace kelvor::testing {

namespace {

// Prefixes of families of variables: the XDG folders, the locale categories, Kelvor's own.
constexpr std::string_view CLEARED_PREFIXES[] = {"XDG_", "LC_", "GLIMSTER_"};
// Single variables: the language (gettext's order) and the login shell, whose profile would
// otherwise hand the developer's relocations to any test that reads the real login environment.
constexpr std::string_view CLEARED_NAMES[] = {"LANG", "LANGUAGE", "SHELL"};

std::string& homeSlot() {
    static std::string path;
    return path;
}

// Each test starts as the first one would: English, and a login shell that relocates nothing.
void resetProcessState() {
    forceAppLang(AppLang::en);
    setLoginEnvironmentReader([] { return LoginEnvironment{}; });
}

class HermeticEnvironment : public ::testing::Environment {
public:
    void SetUp() override {
        for (const std::string& name : clearedVariableNames()) ::unsetenv(name.c_str());
        std::string pattern = std::filesystem::temp_directory_path().string() + "/kelvor-tests-XXXXXX";
        if (::mkdtemp(pattern.data()) == nullptr) FAIL() << "cannot make a temporary home in " << pattern;
        homeSlot() = std::filesystem::canonical(pattern).string();
        ::setenv("HOME", homeSlot().c_str(), 1);
        resetProcessState();
    }

    void TearDown() override {
        KelvorLog::drain();  // the log writes into the home that is about to go
        std::error_code ignored;
        std::filesystem::remove_all(homeSlot(), ignored);
    }
};

class ResetBeforeEachTest : public ::testing::EmptyTestEventListener {
    void OnTestStart(const ::testing::TestInfo&) override { resetProcessState(); }
};

// Registered before gtest's main runs; gtest owns both objects from here on.
[[maybe_unused]] const bool REGISTERED = [] {
    ::testing::AddGlobalTestEnvironment(new HermeticEnvironment);
    ::testing::UnitTest::GetInstance()->listeners().Append(new ResetBeforeEachTest);
    return true;
}();

}  // namespace

std::vector<std::string> clearedVariableNames() {
    std::set<std::string> names(RELOCATION_VARS.begin(), RELOCATION_VARS.end());
    for (const Rule& rule : *CATALOG) {
        if (rule.directEnv) names.insert(*rule.directEnv);
        names.insert(rule.base.envVars.begin(), rule.base.envVars.end());
    }
    names.insert(std::begin(CLEARED_NAMES), std::end(CLEARED_NAMES));
    for (char** entry = environ; *entry != nullptr; ++entry) {
        std::string_view line(*entry);
        std::string_view name = line.substr(0, line.find('='));
        for (std::string_view prefix : CLEARED_PREFIXES)
            if (name.starts_with(prefix)) names.emplace(name);
    }
    return {names.begin(), names.end()};
}

const std::string& sharedTemporaryHome() { return homeSlot(); }

}  // namespace kelvor::testing
