#include <gtest/gtest.h>

#include "tests/support/language_scope.hpp"

#include "quillet/i18n/text.hpp"
#include "quillet/i18n/translations.hpp"
#include "quillet/platform/desktop.hpp"

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

// Not registered: every language but Korean falls back to the English of the form shown.
constexpr DesktopSentence TRASH_ACCESS{
    {"grant Full Disk Access to {0} in System Settings", "시스템 설정에서 {0}에 전체 디스크 접근 권한을 주세요"},
    {"let {0} read the Trash folder", "{0}이(가) 휴지통 폴더를 읽을 수 있게 해 주세요"}};

TEST(Trf, ADesktopSentenceSpeaksOfThisBuildsDesktopInEveryLanguage) {
    const bool mac = thisDesktop() == Desktop::mac;
    const std::string english = mac ? "grant Full Disk Access to Kelvor in System Settings"
                                     : "let Kelvor read the Trash folder";
    EXPECT_EQ(trf(TRASH_ACCESS, {"Kelvor"}), english);
    for (AppLang lang : {AppLang::de, AppLang::ja, AppLang::zhHant}) {
        LanguageScope scope(lang);
        EXPECT_EQ(trf(TRASH_ACCESS, {"Kelvor"}), english) << langCode(lang);
    }
    LanguageScope korean(AppLang::ko);
    EXPECT_EQ(trf(TRASH_ACCESS, {"Kelvor"}), mac ? "시스템 설정에서 Kelvor에 전체 디스크 접근 권한을 주세요"
                                                 : "Kelvor이(가) 휴지통 폴더를 읽을 수 있게 해 주세요");
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
