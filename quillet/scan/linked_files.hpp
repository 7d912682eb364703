#pragma once
// The multiply-linked files a walk has already counted, keyed by (device, inode). Workers claim
// files concurrently: the set is split into shards, each behind its own lock, so two workers
// rarely wait for each other, and each shard keeps a file in one 8-byte slot of an open-addressed
// table grown a quarter at a time, so a walk among 300,000 linked files holds about 3.5 MB.
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace kelvor {

// Shards of the set: a power of two, many more than workers, so a claim seldom meets another.
inline constexpr std::size_t LINK_SHARDS = 64;

// One sighting of a file with two or more links.
struct LinkSighting {
    std::uint64_t fileID = 0;
    std::uint32_t linkCount = 0;
    std::uint64_t allocSize = 0;
    std::uint64_t device = 0;  // the file system it is on: inode numbers repeat across file systems
};

class LinkBatch;

class LinkedFiles {
public:
    LinkedFiles();
    ~LinkedFiles();
    LinkedFiles(const LinkedFiles&) = delete;
    LinkedFiles& operator=(const LinkedFiles&) = delete;

    // Records one sighting of the file `fileID` on `device` with `linkCount` links and
    // `allocSize` bytes. True on the first sighting of that device and inode; every later one adds
    // 1 to dupes() and returns false. Safe from any number of threads.
    bool claim(std::uint64_t device, std::uint64_t fileID, std::uint32_t linkCount, std::uint64_t allocSize);

    // Claims every sighting of `batch`, as claim() would one by one, and empties it. Returns the
    // allocated bytes of the files seen there for the first time.
    std::uint64_t claimAll(LinkBatch& batch);

    // Later sightings so far.
    std::uint64_t dupes() const;

    // Allocated bytes of the files seen fewer times than their link count: files that also have
    // links outside what was walked.
    std::uint64_t bytesLinkedOutside() const;

    // Distinct files recorded.
    std::size_t size() const;

private:
    struct Shard;
    std::array<std::unique_ptr<Shard>, LINK_SHARDS> shards_;
};

// The sightings one worker gathers from a folder and claims together: grouped by shard, so each
// shard's lock is taken once for all of them, and with their slots fetched from memory at once.
class LinkBatch {
public:
    void add(const LinkSighting& sighting);
    bool empty() const { return pending_.empty(); }

private:
    friend class LinkedFiles;
    struct Pending {
        std::uint64_t hash;
        std::uint64_t fileID;
        std::uint64_t allocSize;
        std::uint64_t device;
        std::uint32_t linkCount;
    };
    std::vector<Pending> pending_;
    std::vector<Pending> grouped_;  // the same sightings grouped by shard while they are claimed
};

}  // namespace kelvor
