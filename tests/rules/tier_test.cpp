#include <gtest/gtest.h>

#include "tests/support/language_scope.hpp"

#include "quillet/i18n/app_lang.hpp"
#include "quillet/rules/rule.hpp"

namespace kelvor {
namespace {

using testing::LanguageScope;

TEST(Tier, DerivedTextsOfEachCase) {
    struct Case {
        Tier tier;
        int raw;
        const char* marker;
        const char* ledger;
        const char* label;
        const char* mechanism;
    };
    const Case cases[] = {
        {Tier::redownload, 0, "[A]", "A · re-downloadable", "Recoverable", "re-downloaded from its source"},
        {Tier::regenerate, 1, "[B]", "B · rebuildable", "Recoverable", "rebuilt by the owning tool"},
        {Tier::review, 2, "[C]", "C · yours", "In your hands", "gone is gone"},
        {Tier::protected_, 3, "[!]", "! · protected", "Protected", "never touched"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(tierRawValue(c.tier), c.raw) << c.marker;
        EXPECT_EQ(tierFromRawValue(c.raw), c.tier) << c.marker;
        EXPECT_EQ(tierMarker(c.tier), c.marker);
        EXPECT_EQ(tierLedgerName(c.tier), c.ledger) << c.marker;
        EXPECT_EQ(tierLabel(c.tier), c.label) << c.marker;
        EXPECT_EQ(tierMechanism(c.tier), c.mechanism) << c.marker;
    }
    EXPECT_EQ(tierFromRawValue(-1), std::nullopt);
    EXPECT_EQ(tierFromRawValue(4), std::nullopt);
}

TEST(Tier, LabelsAndMechanismsFollowTheLanguage) {
    LanguageScope korean(AppLang::ko);
    EXPECT_EQ(tierMechanism(Tier::redownload), "원본에서 다시 내려받음");
    EXPECT_EQ(tierMechanism(Tier::regenerate), "도구가 재생성");
    EXPECT_EQ(tierMechanism(Tier::protected_), "건드리지 않음");
    EXPECT_EQ(tierLabel(Tier::protected_), "보호됨");
}

TEST(Tier, ScreenBadge) {
    struct Case {
        Tier tier;
        bool verified;
        const char* badge;
    };
    const Case cases[] = {
        {Tier::redownload, true, "R"},  {Tier::redownload, false, "I"}, {Tier::regenerate, true, "R"},
        {Tier::regenerate, false, "I"}, {Tier::review, true, "I"},      {Tier::review, false, "I"},
        {Tier::protected_, true, "P"},  {Tier::protected_, false, "P"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(screenBadge(c.tier, c.verified), c.badge) << tierMarker(c.tier) << " verified=" << c.verified;
}

TEST(OneClick, NeedsVerifiedTierAOrBAndTransparent) {
    struct Case {
        Tier tier;
        bool verified;
        Burden burden;
        bool oneClick;
    };
    const Case cases[] = {
        {Tier::redownload, true, Burden::transparent, true},    {Tier::regenerate, true, Burden::transparent, true},
        {Tier::regenerate, false, Burden::transparent, false},  {Tier::review, true, Burden::transparent, false},
        {Tier::protected_, true, Burden::transparent, false},   {Tier::redownload, true, Burden::interruptive, false},
        {Tier::redownload, true, Burden::manual, false},        {Tier::redownload, true, Burden::identity, false},
    };
    for (const Case& c : cases) {
        Rule rule{.owner = "x", .tier = c.tier, .verified = c.verified, .burden = c.burden};
        EXPECT_EQ(isOneClick(rule), c.oneClick)
            << tierMarker(c.tier) << " verified=" << c.verified << " " << burdenRawValue(c.burden);
    }
}

TEST(Burden, RawValuesRoundTripAndNothingElseParses) {
    for (Burden burden : {Burden::transparent, Burden::interruptive, Burden::manual, Burden::identity})
        EXPECT_EQ(burdenFromRawValue(burdenRawValue(burden)), burden) << burdenRawValue(burden);
    EXPECT_EQ(burdenRawValue(Burden::identity), "identity");
    for (const char* raw : {"", "Transparent", "manual ", "none"})
        EXPECT_EQ(burdenFromRawValue(raw), std::nullopt) << raw;
}

TEST(RuleText, ComponentAndRecoveryFollowTheLanguage) {
    Rule rule{.owner = "HuggingFace", .component = "허브 캐시", .recovery = "다음 실행 시 재생성"};
    EXPECT_EQ(componentLabel(rule), "Hub cache");
    EXPECT_EQ(recoveryText(rule), "Regenerated on next run");
    EXPECT_EQ(relocatedNote(), " (env-relocated — confirm per item)");
    {
        LanguageScope korean(AppLang::ko);
        EXPECT_EQ(componentLabel(rule), "허브 캐시");
        EXPECT_EQ(relocatedNote(), " (환경변수로 재지정됨 — 개별 확인)");
    }
    Rule unregistered{.component = "등록되지 않은 이름"};
    EXPECT_EQ(componentLabel(unregistered), "등록되지 않은 이름") << "an unknown label is shown as written";
}

}  // namespace
}  // namespace kelvor
