#include "quillet/scan/report.hpp"

#include <gtest/gtest.h>

#include "quillet/i18n/app_lang.hpp"

namespace kelvor {
namespace {

using Totals = std::vector<std::uint64_t>;

TEST(TopSet, LargestValuesWithEarlierIndexWinningTies) {
    struct Case {
        const char* input;
        Totals values;
        std::size_t k;
        std::set<std::size_t> expected;
    };
    const Case cases[] = {
        {"plain", {5, 9, 1, 7}, 2, {1, 3}},
        {"ties", {4, 4, 4, 4}, 2, {0, 1}},
        {"tie at the edge", {9, 3, 5, 5}, 2, {0, 2}},
        {"k above size", {1, 2}, 5, {0, 1}},
        {"empty", {}, 3, {}},
        {"k zero", {1, 2}, 0, {}},
    };
    for (const Case& c : cases) EXPECT_EQ(topSet(c.values, c.k), c.expected) << c.input;
}

TEST(TimeToFraction, FirstSnapshotThatReachesTheShareOfTheLast) {
    const std::vector<Snapshot> snapshots = {snapshotOf(0.0, {0, 0}), snapshotOf(0.05, {10, 20}),
                                             snapshotOf(0.1, {40, 30}), snapshotOf(0.15, {60, 40})};
    struct Case {
        double fraction;
        std::optional<double> expected;
    };
    const Case cases[] = {{0.0, 0.0}, {0.3, 0.05}, {0.5, 0.1}, {0.7, 0.1}, {0.71, 0.15}, {1.0, 0.15}, {1.01, std::nullopt}};
    for (const Case& c : cases) EXPECT_EQ(timeToFraction(snapshots, c.fraction), c.expected) << c.fraction;
    EXPECT_EQ(timeToFraction({}, 0.5), std::nullopt);
}

TEST(TopSetStableTime, TheSetMustReachTheFinalOneAndStay) {
    // Bucket 2 leads, falls behind, then leads again for good at 0.3.
    const std::vector<Snapshot> snapshots = {snapshotOf(0.0, {0, 0, 5}), snapshotOf(0.1, {0, 9, 5}),
                                             snapshotOf(0.2, {9, 9, 5}), snapshotOf(0.3, {9, 10, 20}),
                                             snapshotOf(0.4, {9, 11, 20})};
    EXPECT_EQ(topSetStableTime(snapshots, 1), 0.3);
    EXPECT_EQ(topSetStableTime(snapshots, 2), 0.3) << "{1, 2} only from 0.3 on";
    EXPECT_EQ(topSetStableTime(snapshots, 3), 0.0) << "every bucket is always in a set of three";
    EXPECT_EQ(topSetStableTime({}, 20), std::nullopt);
}

TEST(ProgressRows, EvenlySpacedFromFirstToLast) {
    struct Case {
        std::size_t count;
        std::vector<std::size_t> expected;
    };
    const Case cases[] = {
        {0, {}}, {1, {0}}, {2, {0, 1}}, {4, {0, 1, 2, 3}}, {8, {0, 1, 2, 3, 4, 5, 6, 7}},
        {15, {0, 2, 4, 6, 8, 10, 12, 14}}, {101, {0, 14, 29, 43, 57, 71, 86, 100}},
    };
    for (const Case& c : cases) EXPECT_EQ(progressRows(c.count, PROGRESS_ROWS), c.expected) << c.count;
}

TEST(Report, EveryLineInItsFormat) {
    forceAppLang(AppLang::en);
    AggState agg;
    agg.bucketNames = {"a", "b", "c"};
    agg.totals = {3000, 1000, 0};
    agg.files = 5;
    agg.dirs = 2;
    agg.hardlinkDupes = 1;
    agg.denied = 2;
    agg.snapshots = {snapshotOf(0.0, {0, 0, 0}), snapshotOf(0.05, {0, 1000, 0}), snapshotOf(0.1, {2000, 1000, 0}),
                     snapshotOf(0.15, {3000, 1000, 0})};
    const std::string expected =
        "\n"
        "=== par ===\n"
        "  total scanned      : 4.5 KB  (5 files, 2 dirs)\n"
        "  hardlink dupes     : 1 skipped\n"
        "  errors / denied    : 0 / 2\n"
        "  wall clock         : 0.20 s\n"
        "  t@50% of bytes     : 0.10 s\n"
        "  t@80% of bytes     : 0.15 s\n"
        "  t@95% of bytes     : 0.15 s\n"
        "  top-20 set stable  : 0.00 s  (0% of wall)\n"
        "  throughput         : 25 files/s\n"
        "  --- progressive accuracy (what the user would see) ---\n"
        "   t=0.00s  bytes   0% of final   top5 match 3/5 ✓\n"
        "   t=0.05s  bytes  25% of final   top5 match 3/5 ✓   largest so far: b (1.0 KB)\n"
        "   t=0.10s  bytes  75% of final   top5 match 3/5 ✓   largest so far: a (2.0 KB)\n"
        "   t=0.15s  bytes 100% of final   top5 match 3/5 ✓   largest so far: a (3.0 KB)\n"
        "  --- top 12 buckets ---\n"
        "    1. a                                  3.0 KB\n"
        "    2. b                                  1.0 KB\n"
        "    3. (files at root)                    500.0 B\n"
        "    4. c                                  0.0 B\n";
    EXPECT_EQ(report("par", agg, 0.2, 500), expected);
}

TEST(Report, BucketNamesPrintWithTheirControlCharactersEscaped) {
    forceAppLang(AppLang::en);
    AggState agg;
    agg.bucketNames = {"\x1b]0;retitled\x07", "ok\rforged  99. line"};
    agg.totals = {2000, 1000};
    agg.snapshots = {snapshotOf(0.1, {2000, 1000})};
    std::string text = report("par", agg, 0.1, 0);
    EXPECT_EQ(text.find('\x1b'), std::string::npos) << text;
    EXPECT_EQ(text.find('\r'), std::string::npos) << text;
    EXPECT_NE(text.find("    1. \\x1b]0;retitled\\x07"), std::string::npos) << text;
    EXPECT_NE(text.find("    2. ok\\rforged  99. line"), std::string::npos) << text;
    EXPECT_NE(text.find("largest so far: \\x1b]0;retitled\\x07 (2.0 KB)"), std::string::npos) << text;
}

TEST(Report, AnEmptyTreeDividesByTheFlooredWallTime) {
    forceAppLang(AppLang::en);
    AggState agg;
    agg.snapshots = {snapshotOf(0.0, {})};
    std::string text = report("par", agg, 0.0, 0);
    EXPECT_NE(text.find("  total scanned      : 0.0 B  (0 files, 0 dirs)\n"), std::string::npos) << text;
    EXPECT_NE(text.find("  t@95% of bytes     : 0.00 s\n"), std::string::npos) << text;
    EXPECT_NE(text.find("  top-20 set stable  : 0.00 s  (0% of wall)\n"), std::string::npos) << text;
    EXPECT_NE(text.find("  throughput         : 0 files/s\n"), std::string::npos) << text;
    EXPECT_EQ(text.find("nan"), std::string::npos) << text;
    EXPECT_EQ(text.find("inf"), std::string::npos) << text;
    EXPECT_TRUE(text.ends_with("  --- top 12 buckets ---\n")) << text;
}

TEST(Report, NamesThatAreNotUtf8AreShownWithReplacementsAndEmptyBucketsAreListed) {
    forceAppLang(AppLang::en);
    AggState agg;
    agg.bucketNames = {"caf\xE9", "empty", "ok"};
    agg.totals = {2000, 0, 1000};
    agg.snapshots = {snapshotOf(0.1, agg.totals)};
    std::string text = report("par", agg, 0.1, 0);
    EXPECT_NE(text.find("    1. caf\xEF\xBF\xBD "), std::string::npos) << text;
    EXPECT_NE(text.find("largest so far: caf\xEF\xBF\xBD (2.0 KB)"), std::string::npos) << text;
    EXPECT_EQ(text.find("caf\xE9"), std::string::npos) << "the raw byte never reaches the report";
    EXPECT_NE(text.find("    3. empty "), std::string::npos) << text;
}

TEST(SnapshotOf, KeepsTheSumAndOnlyTheLargestBuckets) {
    std::vector<std::uint64_t> totals(300000, 1);
    totals[123456] = 900;
    totals[7] = 50;
    totals[299999] = 50;
    Snapshot snapshot = snapshotOf(0.5, totals);
    EXPECT_EQ(snapshot.bytes, 300000u - 3 + 900 + 50 + 50);
    ASSERT_EQ(snapshot.top.size(), SNAPSHOT_TOP) << "bounded whatever the number of buckets";
    EXPECT_EQ(snapshot.top[0], (BucketBytes{123456, 900}));
    EXPECT_EQ(snapshot.top[1], (BucketBytes{7, 50})) << "earlier index first on ties";
    EXPECT_EQ(snapshot.top[2], (BucketBytes{299999, 50}));
    EXPECT_EQ(snapshot.top[3], (BucketBytes{0, 1}));
    EXPECT_EQ(topSet(snapshot, 5), topSet(totals, 5)) << "the snapshot ranks as the full totals do";
}

}  // namespace
}  // namespace kelvor
