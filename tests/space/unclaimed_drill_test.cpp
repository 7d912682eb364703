#include "quillet/space/unclaimed_drill.hpp"

#include <gtest/gtest.h>

#include "tests/space/unclaimed_fixture.hpp"
#include "tests/support/disk_usage.hpp"

namespace kelvor {
namespace {

using namespace kelvor::testing;

std::string describe(const std::vector<DrillRow>& rows) {
    std::string out;
    for (const DrillRow& row : rows) out += std::to_string(row.level) + " " + row.path + "\n";
    return out;
}

class DrillUnclaimed : public ::testing::Test {
protected:
    void SetUp() override {
        fill(home / "proj/cache/blob.bin", 900 * KB);          // claimed by a rule
        fill(home / "proj/junk/renders/frame.bin", 600 * KB);  // where the remainder sits
        fill(home / "proj/junk/notes.bin", 30 * KB);
        fill(home / "proj/src/main.bin", 20 * KB);            // under the floor
        fill(home / "proj/mixed/cache2/blob.bin", 500 * KB);  // claimed, deep
        fill(home / "proj/mixed/loose.bin", 250 * KB);
        survey = surveyUnclaimedIn(placeOf(home), {storeRule(home / "proj/cache"), storeRule(home / "proj/mixed/cache2")}, 2, 1);
        ASSERT_EQ(survey.rows.size(), 1u);
    }
    std::vector<DrillRow> drill(int depth) { return drillUnclaimed(survey.rows[0], survey.hits, 100 * KB, survey.folders, depth); }

    TempHome home;
    UnclaimedSurvey survey;
};

TEST_F(DrillUnclaimed, NamesTheSubFoldersThatHoldTheRemainderLargestFirstDownToItsDepth) {
    std::vector<DrillRow> rows = drill(DRILL_DEPTH);
    EXPECT_EQ(describe(rows), "1 " + home / "proj/junk" + "\n2 " + home / "proj/junk/renders" + "\n1 " + home / "proj/mixed" + "\n")
        << "claimed folders and folders under the floor are not named";
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[0].unclaimed, allocatedBytesBelow(home / "proj/junk"));
    EXPECT_EQ(rows[2].unclaimed, allocatedBytes(home / "proj/mixed/loose.bin")) << "a partly claimed folder, for what is left";
    EXPECT_EQ(describe(drill(1)), "1 " + home / "proj/junk" + "\n1 " + home / "proj/mixed" + "\n");
    EXPECT_TRUE(drill(0).empty());
    UnclaimedEntry unmeasured{home / "nowhere", 10 * KB * KB, 0, {}, false};
    EXPECT_TRUE(drillUnclaimed(unmeasured, survey.hits, 1, survey.folders, DRILL_DEPTH).empty())
        << "a folder the survey did not measure has nothing to name";
}

TEST(DrillUnclaimedWidth, NamesOnlyTheLargestSubFoldersOfAFolder) {
    TempHome home;
    const size_t folders = DRILL_WIDTH + 2;
    for (size_t i = 0; i < folders; ++i) fill(home / ("wide/f" + std::to_string(i) + "/x.bin"), (i + 1) * 50 * KB);
    UnclaimedSurvey survey = surveyUnclaimedIn(placeOf(home), {}, 2, 1);
    ASSERT_EQ(survey.rows.size(), 1u);
    std::vector<DrillRow> rows = drillUnclaimed(survey.rows[0], survey.hits, 1, survey.folders, 1);
    ASSERT_EQ(rows.size(), DRILL_WIDTH);
    EXPECT_EQ(rows.front().path, home / ("wide/f" + std::to_string(folders - 1)));
    EXPECT_EQ(rows.back().path, home / ("wide/f" + std::to_string(folders - DRILL_WIDTH))) << "the smallest are left out";
}

}  // namespace
}  // namespace kelvor
