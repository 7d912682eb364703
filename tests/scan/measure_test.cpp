#include "quillet/scan/measure.hpp"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/disk_usage.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::allocatedBytes;
using testing::TempHome;
using testing::writeFile;

TEST(MeasureTree, HardLinksLeavingTheTreeAreShared) {
    TempHome home;
    std::string store = home / "store";
    writeFile(store + "/inside-twice.bin", std::string(30000, 'a'));
    fs::create_hard_link(store + "/inside-twice.bin", store + "/copy.bin");
    writeFile(store + "/linked-out.bin", std::string(50000, 'b'));
    fs::create_directories(home / "elsewhere");
    fs::create_hard_link(store + "/linked-out.bin", home / "elsewhere/linked-out.bin");
    writeFile(store + "/alone.bin", std::string(7000, 'c'));

    TreeStat stat = measureTree(store, 2, 10s);
    EXPECT_EQ(stat.bytes, allocatedBytes(store + "/inside-twice.bin") + allocatedBytes(store + "/linked-out.bin") +
                              allocatedBytes(store + "/alone.bin"));
    EXPECT_EQ(stat.files, 4u) << "every name is a file met";
    EXPECT_EQ(stat.shared, allocatedBytes(store + "/linked-out.bin")) << "both links of the other file are inside";
    EXPECT_FALSE(stat.timedOut);
    EXPECT_FALSE(stat.gated);
    EXPECT_EQ(stat.denied, 0u);

    TreeStat whole = measureTree(home.path(), 2, 10s);
    EXPECT_EQ(whole.shared, 0u) << "measured from above, every link is inside";
}

TEST(MeasureTree, SymbolicLinksAreNotFollowed) {
    TempHome home;
    writeFile(home / "big/huge.bin", std::string(1 << 20, 'h'));
    writeFile(home / "store/small.bin", "s");
    fs::create_directory_symlink(home / "big", home / "store/big-link");
    fs::create_directory_symlink(home / "big", home / "store-link");
    TreeStat stat = measureTree(home / "store", 2, 10s);
    EXPECT_EQ(stat.bytes, allocatedBytes(home / "store/small.bin"));
    EXPECT_EQ(stat.files, 1u);
    TreeStat viaLink = measureTree(home / "store-link", 2, 10s);
    EXPECT_EQ(viaLink.bytes, 0u) << "a path that is itself a link measures nothing";
    EXPECT_EQ(viaLink.files, 0u);
}

TEST(MeasureTree, ATimeLimitOfZeroStopsAndSaysSo) {
    TempHome home;
    for (int d = 0; d < 20; ++d) writeFile(home / ("store/d" + std::to_string(d) + "/f"), std::string(5000, 'x'));
    TreeStat full = measureTree(home / "store", 2, 10s);
    ASSERT_EQ(full.files, 20u);
    EXPECT_FALSE(full.timedOut);
    TreeStat cut = measureTree(home / "store", 2, 0ms);
    EXPECT_TRUE(cut.timedOut);
    EXPECT_LT(cut.files, full.files);
    EXPECT_LT(cut.bytes, full.bytes);
}

TEST(MeasureTree, FilesAndMissingPaths) {
    TempHome home;
    writeFile(home / "one.bin", std::string(12345, 'o'));
    writeFile(home / "store/linked.bin", std::string(9000, 'l'));
    fs::create_hard_link(home / "store/linked.bin", home / "other-name.bin");
    struct Case {
        std::string input;
        std::uint64_t bytes;
        std::uint64_t files;
        std::uint64_t shared;
    };
    const Case cases[] = {
        {home / "one.bin", allocatedBytes(home / "one.bin"), 1, 0},
        {home / "other-name.bin", allocatedBytes(home / "other-name.bin"), 1, allocatedBytes(home / "other-name.bin")},
        {home / "nothing-here", 0, 0, 0},
        {home / "one.bin/below-a-file", 0, 0, 0},
    };
    for (const Case& c : cases) {
        TreeStat stat = measureTree(c.input, 2, 10s);
        EXPECT_EQ(stat.bytes, c.bytes) << c.input;
        EXPECT_EQ(stat.files, c.files) << c.input;
        EXPECT_EQ(stat.shared, c.shared) << c.input;
        EXPECT_EQ(stat.denied, 0u) << c.input;
        EXPECT_FALSE(stat.timedOut) << c.input;
    }
}

}  // namespace
}  // namespace kelvor
