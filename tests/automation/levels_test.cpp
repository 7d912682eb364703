// The level ladder: which hits an assistant may reach at which cap, and how a cap is clamped.
#include <gtest/gtest.h>

#include "quillet/automation/levels.hpp"

namespace kelvor {
namespace {

Rule ruleOf(Tier tier, bool verified, Burden burden) {
    return Rule{.owner = "Tool", .component = "cache", .tier = tier, .verified = verified, .burden = burden};
}

TEST(AssistantLevel, FollowsTierVerificationAndBurden) {
    struct Case {
        Tier tier;
        bool verified;
        Burden burden;
        int level;
    };
    const Case cases[] = {
        {Tier::redownload, true, Burden::transparent, 1},  {Tier::regenerate, true, Burden::transparent, 1},
        {Tier::redownload, true, Burden::interruptive, 2}, {Tier::regenerate, true, Burden::manual, 2},
        {Tier::redownload, false, Burden::transparent, 3}, {Tier::regenerate, false, Burden::interruptive, 3},
        {Tier::review, true, Burden::transparent, 4},      {Tier::review, false, Burden::transparent, 4},
        {Tier::protected_, true, Burden::transparent, 4},  {Tier::protected_, false, Burden::identity, 4},
    };
    for (const Case& c : cases) {
        LevelFacts facts = assistantLevel(ruleOf(c.tier, c.verified, c.burden));
        EXPECT_EQ(facts.level, c.level) << tierLetter(c.tier) << " verified=" << c.verified << " burden="
                                        << burdenRawValue(c.burden);
        EXPECT_FALSE(facts.appSaysRButLevel3);
    }
}

TEST(AssistantLevel, AVerifiedRuleWithoutProofHereIsLevelThreeAndFlaggedButOwnFilesStayAtFour) {
    LevelFacts facts = assistantLevel(ruleOf(Tier::redownload, true, Burden::transparent), true);
    EXPECT_EQ(facts.level, 3);
    EXPECT_TRUE(facts.appSaysRButLevel3);
    EXPECT_EQ(assistantLevel(ruleOf(Tier::review, true, Burden::transparent), true).level, 4);
}

TEST(MaxLevel, OnlyOneToThreeAreKeptAndEveryOtherAskIsClampedWithANote) {
    const std::pair<std::int64_t, int> cases[] = {{1, 1}, {2, 2},  {3, 3}, {4, 3},
                                                  {0, 1}, {-3, 1}, {7, 3}, {1ll << 40, 3}};
    for (const auto& [asked, level] : cases) {
        ClampedLevel clamped = clampMaxLevel(asked);
        EXPECT_EQ(clamped.level, level) << asked;
        EXPECT_EQ(clamped.note.has_value(), asked < 1 || asked > 3) << asked;
        const char* why = asked == 4 ? " was lowered to 3 — level 4 is the person's own files" : " is not a level;";
        EXPECT_NE(clamped.note.value_or(why).find(why), std::string::npos) << clamped.note.value_or("");
    }
}

TEST(LevelRefusal, TellsTheAssistantWhatEachLevelWouldNeed) {
    EXPECT_NE(levelRefusal(ruleOf(Tier::redownload, false, Burden::transparent), 3).find("max_level:3"),
              std::string::npos);
    EXPECT_NE(levelRefusal(ruleOf(Tier::regenerate, true, Burden::manual), 2).find("max_level:2"), std::string::npos);
    EXPECT_EQ(levelRefusal(ruleOf(Tier::review, true, Burden::transparent), 4),
              "level 4 — tier C, your own files; no max_level reaches this, decide in the app");
    EXPECT_EQ(levelRefusal(ruleOf(Tier::protected_, true, Burden::transparent), 4),
              "level 4 — protected; never offered, on any surface");
}

TEST(ItemKey, IsStablePerStoreAndDiffersBetweenStores) {
    const std::string key = itemKey("Hugging Face", "/home/a/.cache/huggingface/hub");
    EXPECT_EQ(key, itemKey("Hugging Face", "/home/a/.cache/huggingface/hub"));
    EXPECT_TRUE(key.starts_with("hugging-face:")) << key;
    EXPECT_NE(key, itemKey("Hugging Face", "/home/b/.cache/huggingface/hub"));
    // A hostile owner name cannot put separators or control characters into a key.
    EXPECT_EQ(itemKey("a/\n b", "/x").find_first_of("/\n "), std::string::npos);
}

}  // namespace
}  // namespace kelvor
