#include "tests/support/hermetic_environment.hpp"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "quillet/i18n/app_lang.hpp"
#include "quillet/rules/catalog.hpp"
#include "quillet/rules/location.hpp"
#include "quillet/platform/home.hpp"

namespace kelvor {
namespace {

TEST(HermeticEnvironment, NoClearedVariableReachesATest) {
    for (const std::string& name : testing::clearedVariableNames())
        EXPECT_EQ(std::getenv(name.c_str()), nullptr) << name;
}

TEST(HermeticEnvironment, NoCatalogStoreStartsRelocated) {
    for (const Rule& rule : *CATALOG)
        EXPECT_EQ(ruleRawPath(rule).relocated, std::nullopt) << rule.component;
}

TEST(HermeticEnvironment, TheHomeIsATemporaryFolderNotThePersons) {
    const std::string& home = testing::sharedTemporaryHome();
    EXPECT_EQ(homeDir(), home);
    EXPECT_TRUE(std::filesystem::is_directory(home));
    EXPECT_TRUE(home.starts_with(std::filesystem::canonical(std::filesystem::temp_directory_path()).string()))
        << home;
    if (const passwd* entry = ::getpwuid(::getuid()); entry && entry->pw_dir) {
        EXPECT_NE(home, entry->pw_dir);
    }
}

TEST(HermeticEnvironment, EveryTestStartsInEnglish) {
    EXPECT_EQ(appLang(), AppLang::en);
    EXPECT_EQ(resolveAppLang(std::nullopt), AppLang::en) << "nothing in the environment names a language";
    forceAppLang(AppLang::de);  // left behind on purpose: the next test must not see it
}

TEST(HermeticEnvironment, ALanguageLeftBehindIsPutBack) {
    EXPECT_EQ(appLang(), AppLang::en);
}

}  // namespace
}  // namespace kelvor
