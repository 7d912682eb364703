#include "quillet/scan/agg.hpp"

#include <gtest/gtest.h>

namespace kelvor {
namespace {

TEST(Agg, FlushAddsTheTallyAndEmptiesIt) {
    Agg agg({"a", "b", "c"}, monotonicSeconds());
    WorkerTally tally;
    tally.bytes[0] = 100;
    tally.bytes[2] = 5;
    tally.files = 3;
    tally.dirs = 2;
    tally.errors = 1;
    tally.denied = 4;
    agg.flush(tally);
    EXPECT_TRUE(tally.empty());
    tally.bytes[0] = 1;
    tally.files = 1;
    agg.flush(tally);
    WorkerTally nothing;
    agg.flush(nothing);
    AggState state = agg.state();
    EXPECT_EQ(state.bucketNames, (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(state.totals, (std::vector<std::uint64_t>{101, 0, 5}));
    EXPECT_EQ(state.files, 4u);
    EXPECT_EQ(state.dirs, 2u);
    EXPECT_EQ(state.errors, 1u);
    EXPECT_EQ(state.denied, 4u);
}

TEST(Agg, LinkedFilesAreClaimedOnceAndTheirOutsideLinksNoticed) {
    Agg agg({"a"}, monotonicSeconds());
    EXPECT_TRUE(agg.claimLinkedFile({.fileID = 7, .linkCount = 2, .allocSize = 4096}));
    EXPECT_FALSE(agg.claimLinkedFile({.fileID = 7, .linkCount = 2, .allocSize = 4096}));
    EXPECT_TRUE(agg.claimLinkedFile({.fileID = 9, .linkCount = 3, .allocSize = 8192}));
    EXPECT_FALSE(agg.claimLinkedFile({.fileID = 9, .linkCount = 3, .allocSize = 8192}));
    EXPECT_EQ(agg.state().hardlinkDupes, 2u);
    EXPECT_EQ(agg.bytesLinkedOutside(), 8192u) << "file 9 has a third link that was not seen";
}

TEST(Agg, SamplesCopyTheTotalsOfTheirMoment) {
    Agg agg({"a", "b"}, monotonicSeconds());
    agg.sample();
    WorkerTally tally;
    tally.bytes[1] = 10;
    agg.flush(tally);
    agg.sample();
    AggState state = agg.state();
    ASSERT_EQ(state.snapshots.size(), 2u);
    EXPECT_EQ(state.snapshots[0].totals, (std::vector<std::uint64_t>{0, 0}));
    EXPECT_EQ(state.snapshots[1].totals, (std::vector<std::uint64_t>{0, 10}));
    EXPECT_GE(state.snapshots[0].t, 0.0);
    EXPECT_LE(state.snapshots[0].t, state.snapshots[1].t);
}

TEST(Sampler, RecordsAtOnceAndStopsWhenAsked) {
    Agg agg({"a"}, monotonicSeconds());
    Sampler sampler(agg);
    sampler.stop();
    sampler.stop();
    std::size_t taken = agg.state().snapshots.size();
    EXPECT_GE(taken, 1u) << "the first snapshot is taken when sampling starts";
    agg.sample();
    EXPECT_EQ(agg.state().snapshots.size(), taken + 1) << "nothing samples after stop";
}

}  // namespace
}  // namespace kelvor
