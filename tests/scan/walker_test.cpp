#include "quillet/scan/walker.hpp"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/disk_usage.hpp"
#include "tests/support/temp_home.hpp"
#include "tests/support/unprivileged.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using testing::allocatedBytes;
using testing::TempHome;
using testing::writeFile;

// Walks the folders `names` of `root`, one bucket each.
AggState walk(const std::string& root, const std::vector<std::string>& names, int threads,
              QueueOrder order = QueueOrder::depthFirst) {
    std::vector<WorkItem> seeds;
    for (std::size_t i = 0; i < names.size(); ++i) seeds.push_back({root + "/" + names[i], static_cast<int>(i)});
    Agg agg(names, monotonicSeconds());
    scanBulk(threads, agg, seeds, order);
    return agg.state();
}

TEST(Walker, CountsEveryFileAndFolderWithAnyNumberOfWorkers) {
    TempHome home;
    std::string root = home / "root";
    std::uint64_t expectedA = 0;
    for (int d = 0; d < 30; ++d)
        for (int f = 0; f < 40; ++f) {
            std::string path = root + "/a/d" + std::to_string(d) + "/deeper/f" + std::to_string(f);
            writeFile(path, std::string(static_cast<std::size_t>(f * 300), 'a'));
            expectedA += allocatedBytes(path);
        }
    writeFile(root + "/b/one", std::string(70000, 'b'));
    for (int threads : {1, 2, 8}) {
        for (QueueOrder order : {QueueOrder::depthFirst, QueueOrder::breadthFirst}) {
            AggState state = walk(root, {"a", "b"}, threads, order);
            std::string input = std::to_string(threads) + " threads, order " + std::to_string(static_cast<int>(order));
            EXPECT_EQ(state.totals, (std::vector<std::uint64_t>{expectedA, allocatedBytes(root + "/b/one")})) << input;
            EXPECT_EQ(state.files, 30u * 40u + 1u) << input;
            EXPECT_EQ(state.dirs, 60u) << input << ": every folder below a bucket";
            EXPECT_EQ(state.errors + state.denied, 0u) << input;
        }
    }
}

TEST(Walker, AHardLinkedFileCountsOnceInTheBucketMetFirst) {
    TempHome home;
    std::string root = home / "root";
    writeFile(root + "/a/model.bin", std::string(50000, 'm'));
    fs::create_directories(root + "/b");
    fs::create_hard_link(root + "/a/model.bin", root + "/b/same-model.bin");
    const std::uint64_t size = allocatedBytes(root + "/a/model.bin");
    struct Case {
        QueueOrder order;
        std::vector<std::uint64_t> totals;  // with one worker the order decides which bucket comes first
    };
    const Case cases[] = {{QueueOrder::breadthFirst, {size, 0}}, {QueueOrder::depthFirst, {0, size}}};
    for (const Case& c : cases) {
        AggState state = walk(root, {"a", "b"}, 1, c.order);
        EXPECT_EQ(state.totals, c.totals) << static_cast<int>(c.order);
        EXPECT_EQ(state.hardlinkDupes, 1u) << static_cast<int>(c.order);
        EXPECT_EQ(state.files, 2u) << "both names are files met";
    }
}

TEST(Walker, LinksAddNothingAndOddNamesAreCounted) {
    TempHome home;
    writeFile(home / "big/huge.bin", std::string(1 << 20, 'h'));
    std::string odd = home / "root/a/d\xE9j\xE0\xFF/file\xFE.bin";
    writeFile(odd, std::string(20000, 'z'));
    fs::create_directory_symlink(home / "big", home / "root/a/link-to-big");
    fs::create_symlink(home / "big/huge.bin", home / "root/a/link-to-file");
    AggState state = walk(home / "root", {"a"}, 2);
    EXPECT_EQ(state.totals, std::vector<std::uint64_t>{allocatedBytes(odd)});
    EXPECT_EQ(state.files, 1u);
    EXPECT_EQ(state.dirs, 1u) << "the folder with the odd name, entered; the link to a folder is not one";
    EXPECT_EQ(state.errors, 0u);
}

TEST(Walker, AnUnreadableFolderIsDeniedAndItsSiblingsAreStillRead) {
    TempHome home;
    std::string root = home / "root";
    writeFile(root + "/a/locked/hidden.bin", std::string(40000, 'x'));
    writeFile(root + "/a/open/visible.bin", std::string(30000, 'y'));
    writeFile(root + "/b/other.bin", std::string(10000, 'z'));
    // Root reads everything, so the walk runs as an ordinary user who may enter all but one folder.
    fs::permissions(home.path(), fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                                     fs::perms::others_read | fs::perms::others_exec);
    fs::permissions(root + "/a/locked", fs::perms::none);
    std::optional<std::string> answer = testing::runUnprivileged([&] {
        AggState state = walk(root, {"a", "b"}, 2);
        return std::to_string(state.totals[0]) + " " + std::to_string(state.totals[1]) + " " +
               std::to_string(state.files) + " " + std::to_string(state.denied) + " " + std::to_string(state.errors);
    });
    ASSERT_TRUE(answer.has_value());
    EXPECT_EQ(*answer, std::to_string(allocatedBytes(root + "/a/open/visible.bin")) + " " +
                           std::to_string(allocatedBytes(root + "/b/other.bin")) + " 2 1 0")
        << "bucket a, bucket b, files, denied, errors";
}

}  // namespace
}  // namespace kelvor
