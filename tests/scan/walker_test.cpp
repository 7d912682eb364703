#include "quillet/scan/walker.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <sstream>

#include "tests/support/temp_home.hpp"
#include "tests/support/unprivileged.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using testing::TempHome;
using testing::writeFile;

std::uint64_t allocated(const std::string& path) {
    struct stat info {};
    ::lstat(path.c_str(), &info);
    return static_cast<std::uint64_t>(info.st_blocks) * 512;
}

std::vector<WorkItem> seedsFor(const std::string& root, const std::vector<std::string>& names) {
    std::vector<WorkItem> seeds;
    for (std::size_t i = 0; i < names.size(); ++i) seeds.push_back({root + "/" + names[i], static_cast<int>(i)});
    return seeds;
}

AggState walk(const std::string& root, const std::vector<std::string>& names, int threads,
              QueueOrder order = QueueOrder::depthFirst) {
    Agg agg(names, monotonicSeconds());
    EXPECT_EQ(scanBulk(threads, agg, seedsFor(root, names), order), WalkEnd::finished);
    return agg.state();
}

TEST(Walker, CountsEveryFileAndFolderWithAnyNumberOfWorkers) {
    TempHome home;
    std::string root = home / "root";
    std::uint64_t expectedA = 0, expectedB = 0;
    for (int d = 0; d < 30; ++d)
        for (int f = 0; f < 40; ++f) {
            std::string path = root + "/a/d" + std::to_string(d) + "/deeper/f" + std::to_string(f);
            writeFile(path, std::string(static_cast<std::size_t>(f * 300), 'a'));
            expectedA += allocated(path);
        }
    writeFile(root + "/b/one", std::string(70000, 'b'));
    expectedB = allocated(root + "/b/one");
    for (int threads : {1, 2, 4, 8}) {
        for (QueueOrder order : {QueueOrder::depthFirst, QueueOrder::breadthFirst}) {
            AggState state = walk(root, {"a", "b"}, threads, order);
            std::string input = std::to_string(threads) + " threads, order " + std::to_string(static_cast<int>(order));
            EXPECT_EQ(state.totals, (std::vector<std::uint64_t>{expectedA, expectedB})) << input;
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
    const std::uint64_t size = allocated(root + "/a/model.bin");
    struct Case {
        QueueOrder order;
        std::vector<std::uint64_t> totals;  // one worker: the order decides which bucket is met first
    };
    const Case cases[] = {{QueueOrder::breadthFirst, {size, 0}}, {QueueOrder::depthFirst, {0, size}}};
    for (const Case& c : cases) {
        AggState state = walk(root, {"a", "b"}, 1, c.order);
        EXPECT_EQ(state.totals, c.totals) << static_cast<int>(c.order);
        EXPECT_EQ(state.hardlinkDupes, 1u) << static_cast<int>(c.order);
        EXPECT_EQ(state.files, 2u) << "both names are files met";
    }
}

TEST(Walker, SymbolicLinksAreNeverFollowedOrMeasured) {
    TempHome home;
    writeFile(home / "big/huge.bin", std::string(1 << 20, 'h'));
    writeFile(home / "root/a/small", "s");
    fs::create_directory_symlink(home / "big", home / "root/a/link-to-big");
    fs::create_symlink(home / "big/huge.bin", home / "root/a/link-to-file");
    AggState state = walk(home / "root", {"a"}, 2);
    EXPECT_EQ(state.totals, std::vector<std::uint64_t>{allocated(home / "root/a/small")});
    EXPECT_EQ(state.files, 1u);
    EXPECT_EQ(state.dirs, 0u);
}

TEST(Walker, NamesThatAreNotUtf8AreStillCountedAndEntered) {
    TempHome home;
    std::string odd = "d\xE9j\xE0\xFF";
    writeFile(home / ("root/a/" + odd + "/file\xFE.bin"), std::string(20000, 'z'));
    AggState state = walk(home / "root", {"a"}, 1);
    EXPECT_EQ(state.files, 1u);
    EXPECT_EQ(state.totals.front(), allocated(home / ("root/a/" + odd + "/file\xFE.bin")));
    EXPECT_EQ(state.errors, 0u);
}

TEST(Walker, AnUnreadableFolderIsDeniedAndItsSiblingsAreStillRead) {
    TempHome home;
    std::string root = home / "root";
    writeFile(root + "/a/locked/hidden.bin", std::string(40000, 'x'));
    writeFile(root + "/a/open/visible.bin", std::string(30000, 'y'));
    writeFile(root + "/b/other.bin", std::string(10000, 'z'));
    const std::uint64_t visible = allocated(root + "/a/open/visible.bin");
    const std::uint64_t other = allocated(root + "/b/other.bin");
    fs::permissions(home.path(), fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                                     fs::perms::others_read | fs::perms::others_exec);
    fs::permissions(root + "/a/locked", fs::perms::none);
    std::optional<std::string> answer = testing::runUnprivileged([&] {
        AggState state = walk(root, {"a", "b"}, 2);
        std::ostringstream out;
        out << state.totals[0] << " " << state.totals[1] << " " << state.files << " " << state.denied << " "
            << state.errors;
        return out.str();
    });
    ASSERT_TRUE(answer.has_value());
    std::ostringstream expected;
    expected << visible << " " << other << " 2 1 0";
    EXPECT_EQ(*answer, expected.str()) << "bucket a, bucket b, files, denied, errors";
}

TEST(Walker, AMissingSeedIsOneErrorAndTheRestIsWalked) {
    TempHome home;
    writeFile(home / "root/b/file", "x");
    AggState state = walk(home / "root", {"gone", "b"}, 2);
    EXPECT_EQ(state.errors, 1u);
    EXPECT_EQ(state.files, 1u);
}

TEST(Walker, AnExpiredDeadlineCancelsTheWalk) {
    TempHome home;
    writeFile(home / "root/a/file", "x");
    Agg agg({"a"}, monotonicSeconds());
    EXPECT_EQ(scanBulk(2, agg, seedsFor(home / "root", {"a"}), QueueOrder::depthFirst, std::chrono::steady_clock::now()),
              WalkEnd::cancelled);
    EXPECT_EQ(agg.state().files, 0u);
}

TEST(Walker, ChildPathNeverDoublesTheSlash) {
    struct Case {
        const char* folder;
        const char* name;
        const char* expected;
    };
    const Case cases[] = {{"/", "etc", "/etc"}, {"/home/ada", "x", "/home/ada/x"}, {"/home/ada/", "x", "/home/ada/x"}};
    for (const Case& c : cases) EXPECT_EQ(childPath(c.folder, c.name), c.expected) << c.folder;
}

}  // namespace
}  // namespace kelvor
