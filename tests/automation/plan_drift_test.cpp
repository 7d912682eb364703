// The drift check on real folders: what the person approved against what stands there now.
#include <gtest/gtest.h>

#include <filesystem>

#include "quillet/automation/plan_drift.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;

PlanRow rowAt(const std::string& path) {
    PlanRow row;
    row.hit.path = path;
    Result<PathIdentity> identity = FileOps::real().identity(path);
    if (identity) row.identity = *identity;
    return row;
}

TEST(PlanDrift, KeepsUnchangedRowsAndDropsReplacedGoneAndUnmeasuredOnes) {
    testing::TempHome home;
    for (const char* name : {"same", "replaced", "gone", "unmeasured", "now-a-file"})
        fs::create_directories(home / name);
    std::vector<PlanRow> rows = {rowAt(home / "same"), rowAt(home / "replaced"), rowAt(home / "gone"),
                                 rowAt(home / "unmeasured"), rowAt(home / "now-a-file")};
    rows[3].identity.reset();
    // A new folder at the same path: same name, same kind, another inode.
    fs::rename(home / "replaced", home / "replaced-old");
    fs::create_directories(home / "replaced");
    fs::remove(home / "gone");
    fs::remove(home / "now-a-file");
    testing::writeFile(home / "now-a-file", "x");

    PlanDrift drift = planDrift(rows);
    ASSERT_EQ(drift.unchanged.size(), 1u);
    EXPECT_EQ(drift.unchanged[0].hit.path, home / "same");
    ASSERT_EQ(drift.dropped.size(), 4u);
    EXPECT_EQ(drift.dropped[0].row.hit.path, home / "replaced");
    EXPECT_EQ(drift.dropped[0].reason, DRIFT_REPLACED);
    EXPECT_EQ(drift.dropped[1].reason, DRIFT_GONE);
    EXPECT_EQ(drift.dropped[2].reason, DRIFT_REPLACED);
    EXPECT_EQ(drift.dropped[3].reason, DRIFT_REPLACED);
}

TEST(PlanDrift, ALinkPutInPlaceOfTheFolderIsNotFollowed) {
    testing::TempHome home;
    fs::create_directories(home / "store");
    PlanRow row = rowAt(home / "store");
    // The link leads to the very folder that was planned; the path itself is a different object.
    fs::rename(home / "store", home / "elsewhere");
    fs::create_directory_symlink(home / "elsewhere", home / "store");
    row.identity = *FileOps::real().identity(home / "elsewhere");
    PlanDrift drift = planDrift({row});
    EXPECT_TRUE(drift.unchanged.empty());
    ASSERT_EQ(drift.dropped.size(), 1u);
    EXPECT_EQ(drift.dropped[0].reason, DRIFT_REPLACED);
}

}  // namespace
}  // namespace kelvor
