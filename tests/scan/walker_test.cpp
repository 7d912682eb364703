#include "quillet/scan/walker.hpp"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <thread>

#include "tests/support/disk_usage.hpp"
#include "tests/support/scoped_mount.hpp"
#include "tests/support/temp_home.hpp"
#include "tests/support/unprivileged.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using testing::allocatedBytes;
using testing::ScopedMount;
using testing::TempHome;
using testing::writeFile;

// Walks the folders `names` of `root`, one bucket each.
AggState walk(const std::string& root, const std::vector<std::string>& names, const WalkWorkers& workers,
              QueueOrder order = QueueOrder::depthFirst) {
    std::vector<WorkItem> seeds;
    for (std::size_t i = 0; i < names.size(); ++i) seeds.push_back({root + "/" + names[i], static_cast<int>(i)});
    Agg agg(names, monotonicSeconds());
    scanBulk(workers, agg, seeds, order);
    return agg.state();
}

AggState walk(const std::string& root, const std::vector<std::string>& names, int threads,
              QueueOrder order = QueueOrder::depthFirst) {
    return walk(root, names, exactWalkWorkers(threads), order);
}

// Exact counts, and a walk that starts with one worker and may grow to eight: whether it grows
// depends on the disk, and the totals may not.
const WalkWorkers WORKER_SCHEMES[] = {{1, 1}, {2, 2}, {8, 8}, {1, 8}};

std::string described(const WalkWorkers& workers, QueueOrder order) {
    return std::to_string(workers.first) + " to " + std::to_string(workers.most) + " workers, order " +
           std::to_string(static_cast<int>(order));
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
    for (const WalkWorkers& workers : WORKER_SCHEMES) {
        for (QueueOrder order : {QueueOrder::depthFirst, QueueOrder::breadthFirst}) {
            AggState state = walk(root, {"a", "b"}, workers, order);
            std::string input = described(workers, order);
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

TEST(Walker, ABatchGivesBackEveryNameInListingOrderOrByInode) {
    std::string batch;
    const std::pair<std::uint64_t, std::string> listed[] = {
        {90, "b"}, {12, std::string("with\nnewline")}, {~std::uint64_t{0}, "last"}, {12, "same inode"}, {0, "x"}};
    for (const auto& [inode, name] : listed) appendToBatch(batch, inode, name);
    std::vector<std::pair<std::uint64_t, const char*>> names;
    namesOfBatch(batch, false, names);
    ASSERT_EQ(names.size(), std::size(listed));
    for (std::size_t at = 0; at < names.size(); ++at) {
        EXPECT_EQ(names[at].first, listed[at].first);
        EXPECT_EQ(names[at].second, listed[at].second);
    }
    namesOfBatch(batch, true, names);
    std::vector<std::pair<std::uint64_t, std::string>> sorted;
    for (const auto& [inode, name] : names) sorted.emplace_back(inode, name);
    EXPECT_EQ(sorted, (std::vector<std::pair<std::uint64_t, std::string>>{
                          {0, "x"}, {12, "with\nnewline"}, {12, "same inode"}, {90, "b"}, {~std::uint64_t{0}, "last"}}))
        << "one inode's names keep their listing order";
}

TEST(Walker, AFolderOfManyBatchesIsCountedExactlyByAnyNumberOfWorkers) {
    TempHome home;
    std::string root = home / "root";
    // Enough files for several batches plus a partial one, with folders and links among them, and
    // names long enough that one read of the walker's buffer cannot hold the listing: only then
    // is the folder shared.
    const std::size_t count = 3 * SHARED_BATCH_NAMES + 17;
    const std::string stem = root + "/big/" + std::string(80, 'n');
    ASSERT_GT(count * (stem.size() - root.size()), BUF_SIZE);
    std::uint64_t expectedBig = 0;
    for (std::size_t i = 0; i < count; ++i) {
        std::string path = stem + std::to_string(i);
        writeFile(path, std::string(i % 7 == 0 ? 5000 + i : i % 90, 'x'));
        expectedBig += allocatedBytes(path);
    }
    writeFile(root + "/big/sub/inner", std::string(9000, 'i'));
    expectedBig += allocatedBytes(root + "/big/sub/inner");
    // Every tenth file is also linked from the other bucket, which must add nothing there.
    fs::create_directories(root + "/other");
    std::uint64_t links = 0;
    for (std::size_t i = 0; i < count; i += 10, ++links)
        fs::create_hard_link(stem + std::to_string(i), root + "/other/l" + std::to_string(i));
    fs::create_symlink(stem + "1", root + "/big/zz-link");
    for (const WalkWorkers& workers : WORKER_SCHEMES) {
        for (QueueOrder order : {QueueOrder::depthFirst, QueueOrder::breadthFirst}) {
            // With one bucket per folder, which bucket sees a linked file first depends on the
            // order; together they always hold every byte once.
            AggState state = walk(root, {"big", "other"}, workers, order);
            std::string input = described(workers, order);
            EXPECT_EQ(state.totals[0] + state.totals[1], expectedBig) << input;
            EXPECT_EQ(state.files, count + 1 + links) << input;
            EXPECT_EQ(state.dirs, 1u) << input;
            EXPECT_EQ(state.hardlinkDupes, links) << input;
            EXPECT_EQ(state.errors + state.denied, 0u) << input;
        }
    }
    AggState alone = walk(root, {"big"}, 8);
    EXPECT_EQ(alone.totals, std::vector<std::uint64_t>{expectedBig}) << "every link of these files is outside";
}

std::uint64_t inodeOf(const std::string& path) {
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0 ? info.st_ino : 0;
}

TEST(Walker, HardLinksAreOncePerFileSystemAndInode) {
    if (::geteuid() != 0) GTEST_SKIP() << "mounting needs root";
    TempHome home;
    std::string root = home / "root";
    fs::create_directories(root + "/one");
    fs::create_directories(root + "/two");
    ScopedMount first = ScopedMount::tmpfs(root + "/one"), second = ScopedMount::tmpfs(root + "/two");
    ASSERT_TRUE(first.mounted() && second.mounted()) << std::strerror(errno);
    // Fresh tmpfs mounts number their files alike, so the two files share an inode number.
    for (const char* mount : {"/one", "/two"}) {
        writeFile(root + mount + "/data/file.bin", std::string(40000, 'f'));
        fs::create_hard_link(root + mount + "/data/file.bin", root + mount + "/data/again.bin");
    }
    ASSERT_EQ(inodeOf(root + "/one/data/file.bin"), inodeOf(root + "/two/data/file.bin"))
        << "the test needs equal inode numbers on the two mounts";
    const std::uint64_t size = allocatedBytes(root + "/one/data/file.bin");
    for (QueueOrder order : {QueueOrder::depthFirst, QueueOrder::breadthFirst}) {
        AggState state = walk(root, {"one", "two"}, 2, order);
        EXPECT_EQ(state.totals, (std::vector<std::uint64_t>{size, size})) << "each file system's file counts once";
        EXPECT_EQ(state.hardlinkDupes, 2u);
    }
}

// Builds `depth` nested folders "d" (each with an empty sibling "s" and a small file) below
// `top`, one level at a time through descriptors: the whole path is far longer than PATH_MAX.
std::uint64_t buildDeepTree(const std::string& top, int depth) {
    fs::create_directories(top);
    int current = ::open(top.c_str(), O_RDONLY | O_DIRECTORY);
    std::uint64_t bytes = 0;
    for (int level = 0; level < depth && current >= 0; ++level) {
        ::mkdirat(current, "d", 0755);
        ::mkdirat(current, "s", 0755);
        int file = ::openat(current, "f", O_WRONLY | O_CREAT, 0644);
        EXPECT_EQ(::write(file, "x", 1), 1);
        ::close(file);
        struct stat info {};
        ::fstatat(current, "f", &info, 0);
        bytes += static_cast<std::uint64_t>(info.st_blocks) * 512;
        int next = ::openat(current, "d", O_RDONLY | O_DIRECTORY);
        ::close(current);
        current = next;
    }
    EXPECT_GE(current, 0);
    ::close(current);
    return bytes;
}

// Removes what buildDeepTree made, climbing back up with "..": no full path is ever needed.
void removeDeepTree(const std::string& top) {
    int current = ::open(top.c_str(), O_RDONLY | O_DIRECTORY);
    int depth = 0;
    for (int next; (next = ::openat(current, "d", O_RDONLY | O_DIRECTORY | O_NOFOLLOW)) >= 0; ++depth) {
        ::close(current);
        current = next;
    }
    for (; depth >= 0; --depth) {
        ::unlinkat(current, "f", 0);
        ::unlinkat(current, "s", AT_REMOVEDIR);
        ::unlinkat(current, "d", AT_REMOVEDIR);
        int parent = ::openat(current, "..", O_RDONLY | O_DIRECTORY);
        ::close(current);
        current = parent;
    }
    ::close(current);
    fs::remove_all(top);
}

TEST(Walker, ATreeDeeperThanAnyPathIsMeasuredWhole) {
    TempHome home;
    constexpr int DEPTH = 5000;
    std::uint64_t expected = buildDeepTree(home / "root/deep", DEPTH);
    for (QueueOrder order : {QueueOrder::depthFirst, QueueOrder::breadthFirst}) {
        AggState state = walk(home / "root", {"deep"}, 2, order);
        EXPECT_EQ(state.errors, 0u) << static_cast<int>(order);
        EXPECT_EQ(state.denied, 0u) << static_cast<int>(order);
        EXPECT_EQ(state.files, static_cast<std::uint64_t>(DEPTH)) << static_cast<int>(order);
        EXPECT_EQ(state.dirs, static_cast<std::uint64_t>(2 * DEPTH)) << static_cast<int>(order);
        EXPECT_EQ(state.totals, std::vector<std::uint64_t>{expected}) << static_cast<int>(order);
    }
    removeDeepTree(home / "root/deep");
}

TEST(Walker, AFolderSwappedForALinkDuringTheWalkIsNotFollowed) {
    TempHome home;
    writeFile(home / "outside/huge.bin", std::string(1 << 20, 'o'));
    std::string root = home / "root";
    for (int i = 0; i < 50; ++i) writeFile(root + "/a/x/sub" + std::to_string(i) + "/small", "s");
    const std::uint64_t outside = allocatedBytes(home / "outside/huge.bin");
    // A second thread keeps swapping the folder "x" for a link to "outside" and back.
    std::atomic<bool> stop{false};
    std::thread swapper([&] {
        while (!stop) {
            fs::rename(root + "/a/x", root + "/a/x.real");
            fs::create_directory_symlink(home / "outside", root + "/a/x");
            std::this_thread::yield();
            fs::remove(root + "/a/x");
            fs::rename(root + "/a/x.real", root + "/a/x");
        }
    });
    for (int round = 0; round < 300; ++round) {
        AggState state = walk(root, {"a"}, 2);
        ASSERT_LT(state.totals[0], outside) << "round " << round << " followed the link out of the tree";
    }
    stop = true;
    swapper.join();
}

}  // namespace
}  // namespace kelvor
