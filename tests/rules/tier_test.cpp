#include <gtest/gtest.h>

#include "quillet/rules/rule.hpp"
#include "tests/support/language_scope.hpp"

namespace kelvor {
namespace {

// Records keep the raw value, so it never changes. Markers, ledger names and labels are checked
// where they are printed (the clean plan, the support matrix).
TEST(Tier, RawValuesAreFixedAndLabelsFollowTheLanguage) {
    const std::pair<Tier, int> cases[] = {{Tier::redownload, 0}, {Tier::regenerate, 1}, {Tier::review, 2}, {Tier::protected_, 3}};
    for (const auto& [tier, raw] : cases) {
        EXPECT_EQ(tierRawValue(tier), raw);
        EXPECT_EQ(tierFromRawValue(raw), tier) << raw;
    }
    EXPECT_EQ(tierFromRawValue(-1), std::nullopt);
    EXPECT_EQ(tierFromRawValue(4), std::nullopt);
    EXPECT_EQ(tierLabel(Tier::protected_), "Protected");
    testing::LanguageScope korean(AppLang::ko);
    EXPECT_EQ(tierLabel(Tier::protected_), "보호됨");
}

TEST(Tier, ScreenBadgeAndOneClick) {
    // R only for verified A and B; one click also needs a transparent burden.
    const std::tuple<Tier, bool, Burden, const char*, bool> cases[] = {
        {Tier::redownload, true, Burden::transparent, "R", true},
        {Tier::regenerate, true, Burden::transparent, "R", true},
        {Tier::redownload, false, Burden::transparent, "I", false},
        {Tier::review, true, Burden::transparent, "I", false},
        {Tier::protected_, true, Burden::transparent, "P", false},
        {Tier::protected_, false, Burden::transparent, "P", false},
        {Tier::redownload, true, Burden::interruptive, "R", false},
        {Tier::redownload, true, Burden::manual, "R", false},
        {Tier::redownload, true, Burden::identity, "R", false},
    };
    for (const auto& [tier, verified, burden, badge, oneClick] : cases) {
        SCOPED_TRACE(std::string(tierMarker(tier)) + " verified=" + std::to_string(verified) + " " +
                     std::string(burdenRawValue(burden)));
        EXPECT_EQ(screenBadge(tier, verified), badge);
        EXPECT_EQ(isOneClick(Rule{.owner = "x", .tier = tier, .verified = verified, .burden = burden}), oneClick);
    }
}

TEST(Burden, RawValuesRoundTripAndNothingElseParses) {
    for (Burden burden : {Burden::transparent, Burden::interruptive, Burden::manual, Burden::identity})
        EXPECT_EQ(burdenFromRawValue(burdenRawValue(burden)), burden) << burdenRawValue(burden);
    for (const char* raw : {"", "Transparent", "manual ", "none"}) EXPECT_EQ(burdenFromRawValue(raw), std::nullopt) << raw;
}

TEST(RuleText, ComponentAndRecoveryFollowTheLanguage) {
    Rule rule{.owner = "HuggingFace", .component = "허브 캐시", .recovery = "다음 실행 시 재생성"};
    EXPECT_EQ(componentLabel(rule), "Hub cache");
    EXPECT_EQ(recoveryText(rule), "Regenerated on next run");
    EXPECT_EQ(componentLabel(Rule{.component = "등록되지 않은 이름"}), "등록되지 않은 이름") << "shown as written";
    testing::LanguageScope korean(AppLang::ko);
    EXPECT_EQ(componentLabel(rule), "허브 캐시");
}

}  // namespace
}  // namespace kelvor
