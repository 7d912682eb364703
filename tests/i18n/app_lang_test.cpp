#include <gtest/gtest.h>

#include "quillet/i18n/app_lang.hpp"
#include "quillet/platform/languages.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

TEST(AppLang, ParseFollowsPrefixesAndChineseScripts) {
    struct Case {
        const char* code;
        std::optional<AppLang> lang;
    };
    const Case cases[] = {
        {"zh_TW", AppLang::zhHant}, {"zh-CN", AppLang::zhHans},    {"zh-Hant-CN", AppLang::zhHant},
        {"zh-HK", AppLang::zhHant}, {"zh-MO", AppLang::zhHant},    {"zh", AppLang::zhHans},
        {"zh_SG", AppLang::zhHans}, {"pt-PT", AppLang::ptBR},      {"pt_BR", AppLang::ptBR},
        {"EN", std::nullopt},       {"en-GB", AppLang::en},        {"kr", std::nullopt},
        {"ko", AppLang::ko},        {"ko_KR", AppLang::ko},        {"de_AT", AppLang::de},
        {"pl", AppLang::pl},        {"ja-JP", AppLang::ja},        {"", std::nullopt},
        {"C", std::nullopt},        {"it_CH", AppLang::it},        {"fr_CA", AppLang::fr},
        {"es-419", AppLang::es},
    };
    for (const Case& c : cases) EXPECT_EQ(parseAppLang(c.code), c.lang) << c.code;
    // The codes a saved preference holds read back as their language.
    EXPECT_EQ(langCode(AppLang::zhHans), "zh-Hans");
    EXPECT_EQ(langCode(AppLang::ptBR), "pt-BR");
    for (AppLang lang : ALL_APP_LANGS) {
        EXPECT_EQ(parseAppLang(langCode(lang)), lang) << langCode(lang);
        EXPECT_FALSE(langNativeName(lang).empty());
        EXPECT_FALSE(langLocaleId(lang).empty());
    }
}

TEST(AppLang, ResolutionOrder) {
    testing::TempHome home;
    home.setEnv("LANG", "de_DE.UTF-8");
    EXPECT_EQ(resolveAppLang(std::nullopt), AppLang::de);
    EXPECT_EQ(resolveAppLang(std::string("ja")), AppLang::ja);
    EXPECT_EQ(resolveAppLang(std::string("kr")), AppLang::de) << "an unknown --lang falls through to the system";
    home.setEnv("GLIMSTER_LANG", "it");
    EXPECT_EQ(resolveAppLang(std::nullopt), AppLang::it);
    EXPECT_EQ(resolveAppLang(std::string("pl")), AppLang::pl);
    home.setEnv("GLIMSTER_LANG", "");
    testing::writeFile(home / ".kelvor/defaults.json", R"({"kelvor.lang": "pt-BR"})");
    EXPECT_EQ(resolveAppLang(std::nullopt), AppLang::ptBR);
    testing::writeFile(home / ".kelvor/defaults.json", "not json");
    EXPECT_EQ(resolveAppLang(std::nullopt), AppLang::de) << "an unreadable preference is no preference";
    home.setEnv("LANGUAGE", "xx:pl_PL");
    EXPECT_EQ(resolveAppLang(std::nullopt), AppLang::pl) << "an unknown language is passed over";
    home.setEnv("LANGUAGE", "");
    home.setEnv("LANG", "C");
    EXPECT_EQ(resolveAppLang(std::nullopt), AppLang::en);
}

TEST(PreferredLanguages, LinuxEnvironmentInOrderWithoutEncodings) {
    testing::TempHome home;
    home.setEnv("LANGUAGE", "zh_TW:fr");
    home.setEnv("LC_ALL", "C");
    home.setEnv("LC_MESSAGES", "ko_KR.UTF-8@cjk");
    home.setEnv("LANG", "POSIX");
    EXPECT_EQ(preferredLanguages(), (std::vector<std::string>{"zh_TW", "fr", "ko_KR"}));
}

}  // namespace
}  // namespace kelvor
