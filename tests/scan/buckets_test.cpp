#include "quillet/scan/buckets.hpp"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/disk_usage.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using testing::allocatedBytes;
using testing::TempHome;
using testing::writeFile;

TEST(Buckets, EveryFolderOfTheRootInByteWiseOrder) {
    TempHome home;
    std::string root = home / "root";
    for (const char* name : {"zeta", "Alpha", "beta", "\xC3\xA9t\xC3\xA9", ".hidden", "_under"})
        fs::create_directories(root + "/" + name);
    writeFile(root + "/loose.bin", std::string(20000, 'l'));
    fs::create_directory_symlink(root + "/zeta", root + "/link-to-zeta");

    Buckets buckets = makeBuckets(root);
    EXPECT_EQ(buckets.names, (std::vector<std::string>{".hidden", "Alpha", "_under", "beta", "zeta", "\xC3\xA9t\xC3\xA9"}))
        << "a link to a folder is no bucket";
    ASSERT_EQ(buckets.seeds.size(), buckets.names.size());
    for (std::size_t i = 0; i < buckets.seeds.size(); ++i) {
        EXPECT_EQ(buckets.seeds[i].path, root + "/" + buckets.names[i]) << i;
        EXPECT_EQ(buckets.seeds[i].bucket, static_cast<int>(i)) << i;
    }
    EXPECT_EQ(buckets.rootFileBytes, allocatedBytes(root + "/loose.bin"));
    EXPECT_EQ(buckets.rootFiles, 1u);
    EXPECT_EQ(bucketIndex(buckets).at("beta"), 3);
}

TEST(Buckets, AnUnreadableRootHasNoBuckets) {
    TempHome home;
    Buckets buckets = makeBuckets(home / "missing");
    EXPECT_TRUE(buckets.names.empty());
    EXPECT_EQ(buckets.errors, 1u);
    Agg agg(buckets.names, monotonicSeconds());
    EXPECT_EQ(countRootFiles(buckets, agg), 0u);
    EXPECT_EQ(agg.state().errors, 1u) << "the root's own failure reaches the report";
}

TEST(Buckets, RootFilesCountOnceEvenWhenLinkedIntoABucket) {
    TempHome home;
    std::string root = home / "root";
    writeFile(root + "/linked.bin", std::string(40000, 'k'));
    writeFile(root + "/single.bin", std::string(3000, 's'));
    fs::create_directories(root + "/a");
    fs::create_hard_link(root + "/linked.bin", root + "/a/linked-again.bin");
    fs::create_hard_link(root + "/linked.bin", root + "/linked-twice.bin");

    Buckets buckets = makeBuckets(root);
    for (int run = 0; run < 2; ++run) {  // every walker of a harness run starts from a fresh aggregate
        Agg agg(buckets.names, monotonicSeconds());
        EXPECT_EQ(countRootFiles(buckets, agg), allocatedBytes(root + "/linked.bin") + allocatedBytes(root + "/single.bin")) << run;
        scanBulk(1, agg, buckets.seeds, QueueOrder::depthFirst);
        AggState state = agg.state();
        EXPECT_EQ(state.totals, std::vector<std::uint64_t>{0}) << run << ": the root claimed the file first";
        EXPECT_EQ(state.hardlinkDupes, 2u) << run;
        EXPECT_EQ(state.files, 4u) << run;
        EXPECT_EQ(state.dirs, 1u) << run << ": the bucket folder itself";
    }
}

}  // namespace
}  // namespace kelvor
