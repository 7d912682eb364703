#include <gtest/gtest.h>

#include "quillet/platform/memory_text.hpp"

namespace kelvor {
namespace {

// In the form Linux 6.x writes it, with figures of a machine under a memory-hungry build.
constexpr std::string_view PRESSURE_UNDER_LOAD =
    "some avg10=23.41 avg60=8.02 avg300=1.90 total=81235523\n"
    "full avg10=4.75 avg60=1.33 avg300=0.31 total=20418731\n";

// Linux 6.8 with zswap enabled, trimmed to a few lines around each figure used.
constexpr std::string_view MEMINFO_WITH_ZSWAP =
    "MemTotal:       32612468 kB\n"
    "MemFree:         1203388 kB\n"
    "MemAvailable:    9871232 kB\n"
    "Buffers:          412808 kB\n"
    "SwapCached:        81920 kB\n"
    "SwapTotal:       8388604 kB\n"
    "SwapFree:        6291452 kB\n"
    "Zswap:            524288 kB\n"
    "Zswapped:        1572864 kB\n"
    "Dirty:               196 kB\n"
    "HugePages_Total:       0\n"
    "Hugepagesize:       2048 kB\n";

// Linux 4.19: no Zswap lines in meminfo yet, and no pressure file.
constexpr std::string_view MEMINFO_OLD_KERNEL =
    "MemTotal:        2041284 kB\n"
    "MemFree:          101116 kB\n"
    "MemAvailable:     904324 kB\n"
    "SwapTotal:             0 kB\n"
    "SwapFree:              0 kB\n";

TEST(MemoryText, PressureAveragesAreReadFromTheirOwnLines) {
    std::optional<PressureStall> stall = parsePressureStall(PRESSURE_UNDER_LOAD);
    ASSERT_TRUE(stall);
    EXPECT_DOUBLE_EQ(stall->someAverage10, 23.41);
    ASSERT_TRUE(stall->fullAverage10);
    EXPECT_DOUBLE_EQ(*stall->fullAverage10, 4.75);
    // Before 5.13 the file may hold only the "some" line; the order of lines is not relied on.
    stall = parsePressureStall("some avg10=1.50 avg60=0.00 avg300=0.00 total=12\n");
    ASSERT_TRUE(stall);
    EXPECT_FALSE(stall->fullAverage10);
    stall = parsePressureStall("full avg10=9.00 avg60=0 avg300=0 total=1\nsome avg10=2.00 avg60=0 avg300=0 total=3");
    ASSERT_TRUE(stall);
    EXPECT_DOUBLE_EQ(stall->someAverage10, 2.0);
}

TEST(MemoryText, PressureTextThatIsNotTheKernelsGivesNoAverages) {
    for (std::string_view text : {"", "\n", "some\n", "some avg10= avg60=0\n", "some avg10=abc avg60=0\n",
                                  "some avg10=-3.00 avg60=0\n", "some avg10=250.00 avg60=0\n",
                                  "full avg10=1.00 avg60=0 avg300=0 total=1\n", "cpu avg10=1.00\n"}) {
        EXPECT_FALSE(parsePressureStall(text)) << text;
    }
}

TEST(MemoryText, VerdictFollowsTheStallShares) {
    struct Case {
        double some;
        std::optional<double> full;
        PressureVerdict verdict;
    };
    const Case cases[] = {
        {0.0, 0.0, PressureVerdict::normal},       {9.99, 0.5, PressureVerdict::normal},
        {10.0, 0.0, PressureVerdict::warning},     {39.9, 9.9, PressureVerdict::warning},
        {40.0, 0.0, PressureVerdict::critical},    {12.0, 10.0, PressureVerdict::critical},
        {25.0, std::nullopt, PressureVerdict::warning},
    };
    for (const Case& each : cases)
        EXPECT_EQ(verdictFromStall(PressureStall{each.some, each.full}), each.verdict)
            << "some " << each.some << " full " << each.full.value_or(-1);
}

TEST(MemoryText, MeminfoLinesThatCannotBeReadStayEmpty) {
    Meminfo info = parseMeminfo("MemTotal: lots kB\nMemAvailable:\nSwapTotal: 99999999999999999999 kB\nSwapFree 12 kB\n");
    EXPECT_FALSE(info.totalBytes);
    EXPECT_FALSE(info.availableBytes);
    EXPECT_FALSE(info.swapTotalBytes) << "a figure that overflows in bytes is not a figure";
    EXPECT_FALSE(info.swapFreeBytes);
    EXPECT_FALSE(parseMeminfo("").totalBytes);
}

TEST(MemoryText, ZramStatGivesTheFirstThreeFields) {
    // Linux 6.1: orig_data_size compr_data_size mem_used_total mem_limit mem_used_max same_pages
    // pages_compacted huge_pages huge_pages_since.
    std::optional<ZramUsage> usage =
        parseZramMmStat("1073741824  268435456  285212672        0  301989888    12345      678        3        5\n");
    ASSERT_TRUE(usage);
    EXPECT_EQ(usage->originalBytes, 1073741824u);
    EXPECT_EQ(usage->compressedBytes, 268435456u);
    EXPECT_EQ(usage->memoryUsedBytes, 285212672u);
    EXPECT_FALSE(parseZramMmStat("1024 2048\n"));
    EXPECT_FALSE(parseZramMmStat("a b c d\n"));
    EXPECT_FALSE(parseZramMmStat(""));
}

TEST(MemoryText, ResidentSizeComesFromVmRss) {
    constexpr std::string_view STATUS =
        "Name:\tllama-server\nUmask:\t0022\nState:\tS (sleeping)\nVmPeak:\t 9876543 kB\nVmSize:\t 9876000 kB\n"
        "VmHWM:\t 5300000 kB\nVmRSS:\t 5242880 kB\nRssAnon:\t  102400 kB\nRssFile:\t 5140480 kB\nThreads:\t17\n";
    EXPECT_EQ(residentFromStatus(STATUS), 5242880ull * 1024);
    // A kernel thread has no VmRSS line at all.
    EXPECT_FALSE(residentFromStatus("Name:\tkworker/0:1\nState:\tI (idle)\nThreads:\t1\n"));
}

TEST(MemoryText, SnapshotPrefersZswapAndFallsBackToZram) {
    MemoryTexts texts;
    texts.pressure = std::string(PRESSURE_UNDER_LOAD);
    texts.meminfo = std::string(MEMINFO_WITH_ZSWAP);
    texts.zramMmStats = {"4096 1024 2048 0 0 0 0 0 0\n"};
    MemorySnapshot snapshot = snapshotFromTexts(texts);
    EXPECT_EQ(snapshot.verdict, PressureVerdict::warning);
    EXPECT_EQ(snapshot.totalBytes, 32612468ull * 1024) << "meminfo's figures are kB";
    EXPECT_EQ(snapshot.swapUsedBytes, (8388604ull - 6291452ull) * 1024);
    EXPECT_EQ(snapshot.compressor, CompressorKind::zswap);
    EXPECT_EQ(snapshot.compressedBytes, 524288ull * 1024);
    EXPECT_EQ(snapshot.compressedOriginalBytes, 1572864ull * 1024);
    // zswap built in but holding nothing: the zram devices are the compressed memory, summed.
    texts.meminfo = "MemTotal: 1000 kB\nSwapTotal: 100 kB\nSwapFree: 100 kB\nZswap: 0 kB\nZswapped: 0 kB\n";
    texts.zramMmStats = {"4096 1024 2048 0 0 0 0 0 0\n", "8192 1024 4096 0 0 0 0 0 0\n", "garbage\n"};
    snapshot = snapshotFromTexts(texts);
    EXPECT_EQ(snapshot.compressor, CompressorKind::zram);
    EXPECT_EQ(snapshot.compressedBytes, 6144u);
    EXPECT_EQ(snapshot.compressedOriginalBytes, 12288u);
    EXPECT_EQ(snapshot.swapUsedBytes, 0u);
}

TEST(MemoryText, AnOlderKernelGivesAnUnknownVerdictAndZswapFromDebugCounters) {
    MemoryTexts texts;
    texts.meminfo = std::string(MEMINFO_OLD_KERNEL);
    MemorySnapshot snapshot = snapshotFromTexts(texts);
    EXPECT_EQ(snapshot.verdict, PressureVerdict::unknown);
    EXPECT_FALSE(snapshot.someAverage10);
    EXPECT_EQ(snapshot.availableBytes, 904324ull * 1024);
    EXPECT_EQ(snapshot.compressor, CompressorKind::none) << "no Zswap lines, no counters";
    texts.zswapPoolBytes = "73400320\n";
    texts.zswapStoredPages = "51200\n";
    texts.pageBytes = 4096;
    snapshot = snapshotFromTexts(texts);
    EXPECT_EQ(snapshot.compressor, CompressorKind::zswap);
    EXPECT_EQ(snapshot.compressedBytes, 73400320u);
    EXPECT_EQ(snapshot.compressedOriginalBytes, 51200ull * 4096);
    // Nothing readable at all still makes a snapshot, every figure empty.
    snapshot = snapshotFromTexts(MemoryTexts{});
    EXPECT_EQ(snapshot.verdict, PressureVerdict::unknown);
    EXPECT_FALSE(snapshot.totalBytes);
    EXPECT_FALSE(snapshot.swapUsedBytes);
}

}  // namespace
}  // namespace kelvor
