#include "quillet/space/unclaimed_drill.hpp"

#include <gtest/gtest.h>

#include "tests/support/disk_usage.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

using testing::allocatedBytesBelow;
using testing::TempHome;

constexpr std::uint64_t KB = 1000;

void fill(const std::string& path, std::uint64_t bytes) { testing::writeFile(path, std::string(bytes, 'd')); }

ResolvedRule storeRule(const std::string& path) {
    Rule rule{.owner = "Tool", .component = "캐시", .sub = "", .tier = Tier::regenerate, .verified = true};
    return {rule, path, std::nullopt, std::nullopt};
}

std::string describe(const std::vector<DrillRow>& rows) {
    std::string out;
    for (const DrillRow& row : rows) out += std::to_string(row.level) + " " + row.path + "\n";
    return out;
}

class DrillUnclaimed : public ::testing::Test {
protected:
    void SetUp() override {
        fill(home / "proj/cache/blob.bin", 900 * KB);           // claimed by a rule
        fill(home / "proj/junk/renders/frame.bin", 600 * KB);   // where the remainder sits
        fill(home / "proj/junk/notes.bin", 30 * KB);
        fill(home / "proj/src/main.bin", 20 * KB);              // under the floor
        fill(home / "proj/mixed/cache2/blob.bin", 500 * KB);    // claimed, deep
        fill(home / "proj/mixed/loose.bin", 250 * KB);
        SurveyPlace place{home.path(), surveySkip(home.path()), SURVEY_TREE_LIMIT};
        survey = surveyUnclaimedIn(place, {storeRule(home / "proj/cache"), storeRule(home / "proj/mixed/cache2")}, 2, 1);
        ASSERT_EQ(survey.rows.size(), 1u);
    }

    TempHome home;
    UnclaimedSurvey survey;
};

TEST_F(DrillUnclaimed, NamesTheSubFoldersThatHoldTheRemainderLargestFirst) {
    std::vector<DrillRow> rows = drillUnclaimed(survey.rows[0], survey.hits, 100 * KB, survey.folders, DRILL_DEPTH);
    EXPECT_EQ(describe(rows), "1 " + home / "proj/junk" + "\n" + "2 " + home / "proj/junk/renders" + "\n" + "1 " +
                                  home / "proj/mixed" + "\n")
        << "claimed folders and folders under the floor are not named";
    ASSERT_FALSE(rows.empty());
    EXPECT_EQ(rows[0].unclaimed, allocatedBytesBelow(home / "proj/junk"));
    EXPECT_EQ(rows[2].unclaimed, testing::allocatedBytes(home / "proj/mixed/loose.bin"))
        << "a partly claimed folder is named for what is left in it";
}

TEST_F(DrillUnclaimed, StopsAtTheDepthItIsGiven) {
    std::vector<DrillRow> rows = drillUnclaimed(survey.rows[0], survey.hits, 100 * KB, survey.folders, 1);
    EXPECT_EQ(describe(rows), "1 " + home / "proj/junk" + "\n" + "1 " + home / "proj/mixed" + "\n");
    EXPECT_TRUE(drillUnclaimed(survey.rows[0], survey.hits, 100 * KB, survey.folders, 0).empty());
}

TEST(DrillUnclaimedWidth, NamesOnlyTheLargestSubFoldersOfAFolder) {
    TempHome home;
    const size_t folders = DRILL_WIDTH + 2;
    for (size_t i = 0; i < folders; ++i) fill(home / ("wide/f" + std::to_string(i) + "/x.bin"), (i + 1) * 50 * KB);
    SurveyPlace place{home.path(), surveySkip(home.path()), SURVEY_TREE_LIMIT};
    UnclaimedSurvey survey = surveyUnclaimedIn(place, {}, 2, 1);
    ASSERT_EQ(survey.rows.size(), 1u);
    std::vector<DrillRow> rows = drillUnclaimed(survey.rows[0], survey.hits, 1, survey.folders, 1);
    ASSERT_EQ(rows.size(), DRILL_WIDTH);
    EXPECT_EQ(rows.front().path, home / ("wide/f" + std::to_string(folders - 1)));
    EXPECT_EQ(rows.back().path, home / ("wide/f" + std::to_string(folders - DRILL_WIDTH))) << "the smallest are left out";
}

TEST_F(DrillUnclaimed, AFolderTheSurveyDidNotMeasureHasNothingToName) {
    UnclaimedEntry elsewhere{home / "nowhere", 10 * KB * KB, 0, {}, false};
    EXPECT_TRUE(drillUnclaimed(elsewhere, survey.hits, 1, survey.folders, DRILL_DEPTH).empty());
}

}  // namespace
}  // namespace kelvor
