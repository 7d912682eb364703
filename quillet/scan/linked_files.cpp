#include "quillet/scan/linked_files.hpp"

#include <algorithm>
#include <map>
#include <utility>

#include "quillet/platform/pages.hpp"

namespace kelvor {

namespace {

// A table grows when it would be fuller than this (numerator over 8). Linear probing stays cheap
// this full because a probe walks slots side by side: eight of them share one cache line.
constexpr std::size_t FILL_EIGHTHS = 7;

// Files of one folder mostly have neighbouring inode numbers, and a walk meets them one after the
// other: a run of NEIGHBOURS of them shares one hash, so they share a shard and sit side by side in
// one cache line of its table, where one memory fetch finds them all.
constexpr unsigned NEIGHBOUR_BITS = 3;
constexpr std::uint64_t NEIGHBOURS = std::uint64_t{1} << NEIGHBOUR_BITS;

// The top bits of a key's hash choose its shard; the 32 below them its place in the shard's table,
// so sightings sorted by hash meet their shards, and each table, in order.
constexpr unsigned SHARD_SHIFT = 58;
constexpr unsigned PLACE_SHIFT = SHARD_SHIFT - 32;
static_assert(LINK_SHARDS == std::size_t{1} << (64 - SHARD_SHIFT));

std::uint32_t unseenOf(std::uint32_t linkCount) { return linkCount > 0 ? linkCount - 1 : 0; }

// Mixes the key so runs of neighbouring inode numbers land far apart, in shards and in slots.
std::uint64_t mixed(std::uint64_t device, std::uint64_t fileID) {
    std::uint64_t x = (fileID >> NEIGHBOUR_BITS) ^ (device * 0x9E3779B97F4A7C15ull);
    x ^= x >> 30;
    x *= 0xBF58476D1CE4E5B9ull;
    x ^= x >> 27;
    x *= 0x94D049BB133111EBull;
    x ^= x >> 31;
    return x;
}

}  // namespace

// One shard: an open-addressed table of 8-byte slots per device (most walks meet one), each slot
// holding an inode number in its low 56 bits and, above them, the links not yet seen (0 in all
// bits marks an empty slot). Keeping the links not yet seen rather than the size is enough: the
// sighting that sees the last link subtracts the size it carries from `outside`. The few files that
// do not fit a slot (inode 0 or beyond 56 bits, more than 256 links) sit in `unusual`.
struct LinkedFiles::Shard {
    static constexpr unsigned INODE_BITS = 56;
    static constexpr std::uint64_t INODE_MASK = (std::uint64_t{1} << INODE_BITS) - 1;
    static constexpr std::uint32_t UNSEEN_MOST = 255;

    struct Table {
        std::uint64_t device = 0;
        PageWords slots;  // whole pages: each larger table replaces the last, which goes straight back
        std::size_t used = 0;

        // The table holds whole pages of slots, any number of them (not only powers of two), so it
        // can grow by a quarter and stay nearly as full as it may be.
        std::uint64_t& slotFor(std::uint64_t hash, std::uint64_t fileID) {
            const std::uint64_t runs = slots.size() / NEIGHBOURS;
            const std::uint64_t run = ((hash >> PLACE_SHIFT) & 0xFFFFFFFFu) * runs >> 32;
            std::size_t at = run * NEIGHBOURS + (fileID & (NEIGHBOURS - 1));
            for (;;) {
                std::uint64_t& slot = slots[at];
                if (slot == 0 || (slot & INODE_MASK) == fileID) return slot;
                if (++at == slots.size()) at = 0;
            }
        }

        void growIfFull() {
            if ((used + 1) * 8 <= slots.size() * FILL_EIGHTHS) return;
            PageWords old = std::exchange(slots, PageWords(slots.size() + slots.size() / 4 + 1));
            for (std::size_t at = 0; at < old.size(); ++at)
                if (const std::uint64_t slot = old[at]; slot != 0) slotFor(mixed(device, slot & INODE_MASK), slot & INODE_MASK) = slot;
        }
    };

    std::mutex lock;
    std::vector<Table> tables;
    std::map<std::pair<std::uint64_t, std::uint64_t>, std::uint32_t> unusual;  // (device, inode) -> unseen
    std::size_t used = 0;
    std::uint64_t dupes = 0;
    std::uint64_t outside = 0;  // bytes of the recorded files with unseen links

    Table& tableOf(std::uint64_t device) {
        for (Table& table : tables)
            if (table.device == device) return table;
        return tables.emplace_back(Table{device, PageWords(), 0});
    }

    // A later sighting of a file whose unseen links are `unseen`.
    void seenAgain(std::uint32_t& unseen, std::uint64_t allocSize) {
        ++dupes;
        if (unseen > 0 && --unseen == 0) outside -= std::min(allocSize, outside);
    }

    // Records a first sighting; its other links are still to be seen.
    void first(std::uint32_t unseen, std::uint64_t allocSize) {
        ++used;
        if (unseen > 0) outside += allocSize;
    }

    bool claimUnusual(std::uint64_t device, std::uint64_t fileID, std::uint32_t unseen, std::uint64_t allocSize) {
        auto [at, added] = unusual.try_emplace({device, fileID}, unseen);
        if (added) first(unseen, allocSize);
        else seenAgain(at->second, allocSize);
        return added;
    }

    bool claim(std::uint64_t hash, std::uint64_t device, std::uint64_t fileID, std::uint32_t unseen,
               std::uint64_t allocSize) {
        if (fileID == 0 || fileID > INODE_MASK) return claimUnusual(device, fileID, unseen, allocSize);
        Table& table = tableOf(device);
        table.growIfFull();
        std::uint64_t& slot = table.slotFor(hash, fileID);
        if (slot != 0) {
            std::uint32_t left = static_cast<std::uint32_t>(slot >> INODE_BITS);
            seenAgain(left, allocSize);
            slot = fileID | std::uint64_t{left} << INODE_BITS;
            return false;
        }
        // Its first sighting may have had too many links for a slot.
        if (unseen > UNSEEN_MOST || (!unusual.empty() && unusual.contains({device, fileID})))
            return claimUnusual(device, fileID, unseen, allocSize);
        slot = fileID | std::uint64_t{unseen} << INODE_BITS;
        ++table.used;
        first(unseen, allocSize);
        return true;
    }
};

LinkedFiles::LinkedFiles() {
    for (auto& shard : shards_) shard = std::make_unique<Shard>();
}

LinkedFiles::~LinkedFiles() = default;

bool LinkedFiles::claim(std::uint64_t device, std::uint64_t fileID, std::uint32_t linkCount, std::uint64_t allocSize) {
    const std::uint64_t hash = mixed(device, fileID);
    Shard& shard = *shards_[hash >> SHARD_SHIFT];
    std::lock_guard guard(shard.lock);
    return shard.claim(hash, device, fileID, unseenOf(linkCount), allocSize);
}

std::uint64_t LinkedFiles::claimAll(LinkBatch& batch) {
    std::vector<LinkBatch::Pending>& pending = batch.pending_;
    // Stable: sightings of one file keep their order, so a file whose links changed during the walk
    // is counted as it would be one sighting at a time.
    std::stable_sort(pending.begin(), pending.end(), [](const auto& a, const auto& b) { return a.hash < b.hash; });
    std::uint64_t firstBytes = 0;
    for (std::size_t at = 0; at < pending.size();) {
        const std::uint64_t shardIndex = pending[at].hash >> SHARD_SHIFT;
        Shard& shard = *shards_[shardIndex];
        std::lock_guard guard(shard.lock);
        for (; at < pending.size() && pending[at].hash >> SHARD_SHIFT == shardIndex; ++at) {
            const LinkSighting& seen = pending[at].sighting;
            if (shard.claim(pending[at].hash, seen.device, seen.fileID, unseenOf(seen.linkCount), seen.allocSize))
                firstBytes += seen.allocSize;
        }
    }
    pending.clear();
    return firstBytes;
}

void LinkBatch::add(const LinkSighting& sighting) { pending_.push_back({mixed(sighting.device, sighting.fileID), sighting}); }

std::uint64_t LinkedFiles::dupes() const {
    std::uint64_t dupes = 0;
    for (const auto& shard : shards_) {
        std::lock_guard guard(shard->lock);
        dupes += shard->dupes;
    }
    return dupes;
}

std::uint64_t LinkedFiles::bytesLinkedOutside() const {
    std::uint64_t bytes = 0;
    for (const auto& shard : shards_) {
        std::lock_guard guard(shard->lock);
        bytes += shard->outside;
    }
    return bytes;
}

std::size_t LinkedFiles::size() const {
    std::size_t files = 0;
    for (const auto& shard : shards_) {
        std::lock_guard guard(shard->lock);
        files += shard->used;
    }
    return files;
}

}  // namespace kelvor
