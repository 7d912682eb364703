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

TEST(AssistantLevel, AVerifiedRuleWithoutProofHereIsLevelThreeAndFlagged) {
    LevelFacts facts = assistantLevel(ruleOf(Tier::redownload, true, Burden::transparent), true);
    EXPECT_EQ(facts.level, 3);
    EXPECT_TRUE(facts.appSaysRButLevel3);
    // A missing proof never lifts the person's own files out of level 4.
    EXPECT_EQ(assistantLevel(ruleOf(Tier::review, true, Burden::transparent), true).level, 4);
}

TEST(MaxLevel, FourIsLoweredToThreeAndTheNoteSaysWhy) {
    ClampedLevel four = clampMaxLevel(4);
    EXPECT_EQ(four.level, 3);
    ASSERT_TRUE(four.note);
    EXPECT_NE(four.note->find(" was lowered to"), std::string::npos) << *four.note;
    EXPECT_NE(four.note->find(" — level 4 is the person's"), std::string::npos) << *four.note;
    EXPECT_NE(four.note->find("own files and no call reaches it"), std::string::npos) << *four.note;
}

TEST(MaxLevel, ValuesOutsideTheLadderAreNotLevelsAndAreClamped) {
    for (std::int64_t asked : {std::int64_t{0}, std::int64_t{-3}, std::int64_t{7}, std::int64_t{1} << 40}) {
        ClampedLevel clamped = clampMaxLevel(asked);
        EXPECT_EQ(clamped.level, asked < 1 ? 1 : 3) << asked;
        ASSERT_TRUE(clamped.note) << asked;
        EXPECT_NE(clamped.note->find(" is not a level;"), std::string::npos) << *clamped.note;
    }
    for (int asked = 1; asked <= 3; ++asked) {
        EXPECT_EQ(clampMaxLevel(asked).level, asked);
        EXPECT_FALSE(clampMaxLevel(asked).note) << asked;
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
