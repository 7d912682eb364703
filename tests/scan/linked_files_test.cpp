#include "quillet/scan/linked_files.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>
#include <vector>

namespace kelvor {
namespace {

TEST(LinkedFiles, TheSameInodeOnAnotherDeviceIsAnotherFile) {
    LinkedFiles files;
    EXPECT_TRUE(files.claim(1, 42, 2, 4096));
    EXPECT_TRUE(files.claim(2, 42, 2, 4096)) << "inode numbers repeat across file systems";
    EXPECT_FALSE(files.claim(1, 42, 2, 4096));
    EXPECT_EQ(files.dupes(), 1u);
    EXPECT_EQ(files.size(), 2u);
    EXPECT_EQ(files.bytesLinkedOutside(), 4096u) << "device 2's file has a link that was not seen";
}

TEST(LinkedFiles, AFileSeenMoreTimesThanItsLinksIsNotOutside) {
    LinkedFiles files;
    // A link added during the walk: seen three times, two links when first seen.
    EXPECT_TRUE(files.claim(1, 7, 2, 8192));
    EXPECT_FALSE(files.claim(1, 7, 2, 8192));
    EXPECT_FALSE(files.claim(1, 7, 3, 8192));
    EXPECT_EQ(files.bytesLinkedOutside(), 0u);
    EXPECT_EQ(files.dupes(), 2u);
}

TEST(LinkedFiles, FilesBeyondACompactSlotAreStillCountedOnce) {
    // Inode numbers past 56 bits (XFS, btrfs can make them), inode 0 and more links than a slot
    // holds: each is still one file, and its unseen links are still followed to the last.
    struct Case {
        std::uint64_t inode;
        std::uint32_t links;
    };
    const Case cases[] = {{0, 2}, {std::uint64_t{1} << 56, 2}, {~std::uint64_t{0}, 3}, {9, 300}, {10, 70000}};
    for (const Case& c : cases) {
        LinkedFiles files;
        EXPECT_TRUE(files.claim(5, c.inode, c.links, 4096)) << c.inode;
        // The same inode number on another device, and a neighbour, are other files.
        EXPECT_TRUE(files.claim(6, c.inode, 2, 512)) << c.inode;
        EXPECT_TRUE(files.claim(5, c.inode ^ 1, 2, 512)) << c.inode;
        for (std::uint32_t seen = 1; seen + 1 < c.links; ++seen) ASSERT_FALSE(files.claim(5, c.inode, c.links, 4096)) << c.inode;
        EXPECT_EQ(files.bytesLinkedOutside(), 4096u + 1024u) << c.inode << ": one link not seen yet";
        EXPECT_FALSE(files.claim(5, c.inode, c.links, 4096)) << c.inode;
        EXPECT_EQ(files.size(), 3u) << c.inode;
        EXPECT_EQ(files.dupes(), c.links - 1) << c.inode;
        EXPECT_EQ(files.bytesLinkedOutside(), 1024u) << c.inode << ": the first file's links were all seen";
    }
}

TEST(LinkedFiles, AFileThatGainedLinksIsFoundWhereItsFirstSightingPutIt) {
    LinkedFiles files;
    // First met with more links than a slot holds, later with fewer (some removed meanwhile), and
    // the other way round: either way it is the same file.
    EXPECT_TRUE(files.claim(1, 77, 400, 4096));
    EXPECT_FALSE(files.claim(1, 77, 2, 4096));
    EXPECT_TRUE(files.claim(1, 78, 2, 4096));
    EXPECT_FALSE(files.claim(1, 78, 400, 4096));
    EXPECT_EQ(files.size(), 2u);
    EXPECT_EQ(files.dupes(), 2u);
}

TEST(LinkedFiles, ABatchCountsWhatTheSameSightingsOneByOneWould) {
    // Sightings in the order a walk meets them: neighbours, repeats inside one batch, two devices,
    // unusual inodes and link counts, and enough files for every shard's table to grow.
    std::mt19937_64 random(7);
    std::vector<LinkSighting> sightings;
    for (int n = 0; n < 60000; ++n) {
        const std::uint64_t inode = random() % 4 == 0 ? random() : 1000 + random() % 30000;
        sightings.push_back({inode, static_cast<std::uint32_t>(2 + random() % 3), 512 * (1 + inode % 9), 1 + random() % 2});
    }
    sightings.push_back({0, 2, 4096, 1});
    sightings.push_back({0, 2, 4096, 1});
    sightings.push_back({5, 500, 4096, 1});
    LinkedFiles single, batched;
    std::uint64_t firstBytes = 0, batchedBytes = 0;
    LinkBatch batch;
    for (std::size_t at = 0; at < sightings.size(); ++at) {
        const LinkSighting& seen = sightings[at];
        if (single.claim(seen.device, seen.fileID, seen.linkCount, seen.allocSize)) firstBytes += seen.allocSize;
        batch.add(seen);
        if (at % 500 == 499 || at + 1 == sightings.size()) batchedBytes += batched.claimAll(batch);
    }
    EXPECT_TRUE(batch.empty());
    EXPECT_EQ(batchedBytes, firstBytes);
    EXPECT_EQ(batched.size(), single.size());
    EXPECT_EQ(batched.dupes(), single.dupes());
    EXPECT_EQ(batched.bytesLinkedOutside(), single.bytesLinkedOutside());
}

TEST(LinkedFiles, ConcurrentClaimsCountEachDeviceAndInodeOnce) {
    LinkedFiles files;
    constexpr int WORKERS = 8;
    constexpr std::uint64_t INODES = 40000;  // enough to grow every shard several times
    constexpr std::uint64_t DEVICES = 3;
    std::atomic<std::uint64_t> firsts{0};
    std::vector<std::thread> workers;
    for (int w = 0; w < WORKERS; ++w)
        workers.emplace_back([&, w] {
            std::uint64_t mine = 0;
            // Each worker sees every file once, starting at a different place.
            for (std::uint64_t n = 0; n < INODES * DEVICES; ++n) {
                std::uint64_t k = (n + static_cast<std::uint64_t>(w) * 7919) % (INODES * DEVICES);
                std::uint64_t inode = k / DEVICES + 1, device = k % DEVICES + 100;
                // Odd inodes have one more link than there are workers: a link outside.
                std::uint32_t links = inode % 2 ? WORKERS + 1 : WORKERS;
                if (files.claim(device, inode, links, inode * 512)) ++mine;
            }
            firsts += mine;
        });
    for (std::thread& worker : workers) worker.join();
    EXPECT_EQ(firsts.load(), INODES * DEVICES);
    EXPECT_EQ(files.size(), INODES * DEVICES);
    EXPECT_EQ(files.dupes(), INODES * DEVICES * (WORKERS - 1));
    std::uint64_t outside = 0;
    for (std::uint64_t inode = 1; inode <= INODES; inode += 2) outside += DEVICES * inode * 512;
    EXPECT_EQ(files.bytesLinkedOutside(), outside);
}

}  // namespace
}  // namespace kelvor
