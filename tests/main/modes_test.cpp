#include "quillet/main/modes.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

using testing::TempHome;

TEST(ModeTable, EveryNameOnceEachEntryDescribedAndEitherRunsAloneOrIsAWalker) {
    std::set<std::string_view> names;
    for (const ModeEntry& entry : modeTable()) {
        EXPECT_TRUE(names.insert(entry.name).second) << "twice: " << entry.name;
        EXPECT_FALSE(entry.description.empty()) << entry.name;
        EXPECT_NE(entry.run != nullptr, entry.walker.has_value()) << entry.name;
        EXPECT_EQ(findMode(entry.name), &entry) << entry.name;
    }
    EXPECT_EQ(findMode("nosuch"), nullptr);
    EXPECT_EQ(findMode(""), nullptr);
}

TEST(ModeTable, WalkersRunTogetherInTheOrderNamedAndUnknownNamesAreReported) {
    TempHome home;
    std::filesystem::create_directories(home / "tree/one");
    Settings settings;
    settings.root = home / "tree";
    settings.modes = {"bfs", "nosuch", "fm", "clean"};
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(dispatchModes(settings), 0);
    std::string out = ::testing::internal::GetCapturedStdout();
    // A mode that runs alone is not a walker in a list.
    EXPECT_TRUE(out.starts_with("unknown mode nosuch\nunknown mode clean\n")) << out;
    EXPECT_NE(out.find("modes   : bfs, fm\n"), std::string::npos) << out;
    EXPECT_LT(out.find("=== bfs ==="), out.find("=== fm ===")) << out;
    settings.modes = {"par"};  // one walker alone is timed by the harness too
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(dispatchModes(settings), 0);
    out = ::testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("modes   : par\n"), std::string::npos) << out;
    EXPECT_NE(out.find("=== par ==="), std::string::npos) << out;
}

}  // namespace
}  // namespace kelvor
