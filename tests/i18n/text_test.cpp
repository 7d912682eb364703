#include <gtest/gtest.h>

#include "tests/support/language_scope.hpp"

#include "quillet/i18n/text.hpp"
#include "quillet/i18n/translations.hpp"

namespace kelvor {
namespace {

using testing::LanguageScope;

TEST(Josa, PicksTheFormByTheLastSound) {
    struct Case {
        const char* word;
        bool withFinal;
    };
    const Case cases[] = {
        {"강", true}, {"가", false}, {"Chrome", true}, {"Xcode", false}, {"v2", false}, {"3", true},
        {"Slack", true}, {"npm", true}, {"Python", true}, {"Docker", false}, {"", false}, {"Swing", true},
        {"Ollama", false}, {"허브 캐시", false}, {"모델", true},
    };
    for (const Case& c : cases) EXPECT_EQ(josa(c.word, "을", "를"), c.withFinal ? "을" : "를") << c.word;
}

TEST(Trf, FillsPlaceholdersAndKeepsThoseWithoutArguments) {
    EXPECT_EQ(fillPlaceholders("{0} and {1}", {"a", "b"}), "a and b");
    EXPECT_EQ(fillPlaceholders("{1} before {0}", {"a", "b"}), "b before a");
    EXPECT_EQ(fillPlaceholders("{0} {2}", {"a"}), "a {2}");
    EXPECT_EQ(fillPlaceholders("{x} {} {0", {"a"}), "{x} {} {0");
    EXPECT_EQ(fillPlaceholders("{0}", {"{1}", "no"}), "{1}") << "arguments are not filled again";
}

TEST(Trf, ChoosesTheSentenceOfTheCurrentLanguage) {
    {
        LanguageScope korean(AppLang::ko);
        EXPECT_EQ(trf(S::unknownMode, {"x"}), "알 수 없는 모드 x");
    }
    {
        LanguageScope german(AppLang::de);
        EXPECT_EQ(trf(S::unknownMode, {"x"}), "unbekannter Modus x");
        EXPECT_EQ(trf("not in any table {0}", "표에 없음 {0}", {"y"}), "not in any table y") << "falls back to English";
    }
    EXPECT_EQ(trf(S::unknownMode, {"x"}), "unknown mode x");
}

TEST(L, TranslatesLabelsWholeOrPartByPart) {
    LanguageScope french(AppLang::fr);
    EXPECT_EQ(L("unknown mode {0}"), "mode inconnu {0}");
    EXPECT_EQ(L("unknown mode {0} · unregistered part · failed: {0} — {1}"),
              "mode inconnu {0} · unregistered part · échec : {0} — {1}");
    EXPECT_EQ(L("nothing known"), "nothing known");
}

TEST(FromKorean, ShowsARegisteredKoreanTextInTheCurrentLanguage) {
    {
        LanguageScope polish(AppLang::pl);
        EXPECT_EQ(fromKorean("알 수 없는 모드 {0}"), "nieznany tryb {0}");
        EXPECT_EQ(fromKorean("등록되지 않은 말"), "등록되지 않은 말");
    }
    EXPECT_EQ(fromKorean("알 수 없는 모드 {0}"), "unknown mode {0}");
}

}  // namespace
}  // namespace kelvor
