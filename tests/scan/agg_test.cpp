#include "quillet/scan/agg.hpp"

#include <gtest/gtest.h>

namespace kelvor {
namespace {

TEST(Agg, LinkedFilesAreClaimedOnceAndTheirOutsideLinksNoticed) {
    Agg agg({"a"}, monotonicSeconds());
    EXPECT_TRUE(agg.claimLinkedFile({.fileID = 7, .linkCount = 2, .allocSize = 4096}));
    EXPECT_FALSE(agg.claimLinkedFile({.fileID = 7, .linkCount = 2, .allocSize = 4096}));
    EXPECT_TRUE(agg.claimLinkedFile({.fileID = 9, .linkCount = 3, .allocSize = 8192}));
    EXPECT_FALSE(agg.claimLinkedFile({.fileID = 9, .linkCount = 3, .allocSize = 8192}));
    EXPECT_EQ(agg.state().hardlinkDupes, 2u);
    EXPECT_EQ(agg.bytesLinkedOutside(), 8192u) << "file 9 has a third link that was not seen";
}

TEST(Sampler, RecordsAtOnceAndNothingAfterStop) {
    Agg agg({"a"}, monotonicSeconds());
    Sampler sampler(agg);
    sampler.stop();
    std::size_t taken = agg.state().snapshots.size();
    EXPECT_GE(taken, 1u) << "even a sampler stopped at once has a snapshot";
    WorkerTally tally;
    tally.bytes[0] = 10;
    agg.flush(tally);
    agg.sample();
    AggState state = agg.state();
    ASSERT_EQ(state.snapshots.size(), taken + 1) << "nothing samples after stop";
    EXPECT_EQ(state.snapshots.back().bytes, 10u);
    EXPECT_EQ(state.snapshots.back().top, (std::vector<BucketBytes>{{0, 10}}));
    EXPECT_TRUE(tally.empty()) << "a flush empties the worker's tally";
}

}  // namespace
}  // namespace kelvor
