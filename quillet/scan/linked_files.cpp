#include "quillet/scan/linked_files.hpp"

#include <algorithm>
#include <map>
#include <utility>

#include "quillet/platform/pages.hpp"

namespace kelvor {

namespace {

// A table grows when it would be fuller than this (numerator over 8). Neighbours sit in runs, so
// the table clusters more than a random one; fuller, a new file's probe grew long enough to cost a
// linked tree a sixth more processor time.
constexpr std::size_t FILL_EIGHTHS = 6;

// Files of one folder mostly have neighbouring inode numbers, and a walk meets them one after the
// other: a run of NEIGHBOURS of them shares one hash, so they share a shard and sit side by side in
// one cache line of its table, where one memory fetch finds them all.
constexpr unsigned NEIGHBOUR_BITS = 3;
constexpr std::uint64_t NEIGHBOURS = std::uint64_t{1} << NEIGHBOUR_BITS;

// The top bits of a key's hash choose its shard; the 32 below them its place in the shard's table,
// so the two choices are independent.
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
        std::size_t firstPlace(std::uint64_t hash, std::uint64_t fileID) const {
            const std::uint64_t runs = slots.size() / NEIGHBOURS;
            const std::uint64_t run = ((hash >> PLACE_SHIFT) & 0xFFFFFFFFu) * runs >> 32;
            return run * NEIGHBOURS + (fileID & (NEIGHBOURS - 1));
        }

        std::uint64_t& slotFor(std::uint64_t hash, std::uint64_t fileID) {
            std::size_t at = firstPlace(hash, fileID);
            for (;;) {
                std::uint64_t& slot = slots[at];
                if (slot == 0 || (slot & INODE_MASK) == fileID) return slot;
                if (++at == slots.size()) at = 0;
            }
        }

        // True when it grew.
        bool growIfFull() {
            if ((used + 1) * 8 <= slots.size() * FILL_EIGHTHS) return false;
            PageWords old = std::exchange(slots, PageWords(slots.size() + slots.size() / 4 + 1));
            for (std::size_t at = 0; at < old.size(); ++at)
                if (const std::uint64_t slot = old[at]; slot != 0) slotFor(mixed(device, slot & INODE_MASK), slot & INODE_MASK) = slot;
            return true;
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

    // Where the first device's table sits, for a worker to start fetching a slot before it takes
    // the lock. Written under the lock whenever that table is made or grows, read without it: a
    // reader may see an old table, and a fetch of a stale place costs nothing.
    std::atomic<std::uintptr_t> firstSlots{0};
    std::atomic<std::uint64_t> firstRuns{0};
    std::atomic<std::uint64_t> firstDevice{0};

    void publish(Table& table) {
        if (&table != &tables.front()) return;
        firstDevice.store(table.device, std::memory_order_relaxed);
        firstRuns.store(table.slots.size() / NEIGHBOURS, std::memory_order_relaxed);
        firstSlots.store(reinterpret_cast<std::uintptr_t>(table.slots.data()), std::memory_order_relaxed);
    }

    // Starts fetching the slot a claim of this key would look at first.
    void prefetch(std::uint64_t hash, std::uint64_t fileID, std::uint64_t device) const {
        const std::uintptr_t slots = firstSlots.load(std::memory_order_relaxed);
        if (slots == 0 || firstDevice.load(std::memory_order_relaxed) != device) return;
        const std::uint64_t run = ((hash >> PLACE_SHIFT) & 0xFFFFFFFFu) * firstRuns.load(std::memory_order_relaxed) >> 32;
        const std::uint64_t place = run * NEIGHBOURS + (fileID & (NEIGHBOURS - 1));
        __builtin_prefetch(reinterpret_cast<const void*>(slots + place * sizeof(std::uint64_t)));
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
        if (table.growIfFull()) publish(table);
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
    const std::vector<LinkBatch::Pending>& pending = batch.pending_;
    // Every slot is asked for from memory before the first is needed, so the fetches overlap.
    for (const LinkBatch::Pending& seen : pending)
        shards_[seen.hash >> SHARD_SHIFT]->prefetch(seen.hash, seen.fileID, seen.device);
    // Grouped by shard, each group in the order met (a counting sort): sightings of one file keep
    // their order, so a file whose links changed during the walk counts as one sighting at a time would.
    std::array<std::uint32_t, LINK_SHARDS + 1> starts{};
    for (const LinkBatch::Pending& seen : pending) ++starts[(seen.hash >> SHARD_SHIFT) + 1];
    for (std::size_t shard = 1; shard <= LINK_SHARDS; ++shard) starts[shard] += starts[shard - 1];
    std::vector<LinkBatch::Pending>& grouped = batch.grouped_;
    grouped.resize(pending.size());
    std::array<std::uint32_t, LINK_SHARDS + 1> next = starts;
    for (const LinkBatch::Pending& seen : pending) grouped[next[seen.hash >> SHARD_SHIFT]++] = seen;
    std::uint64_t firstBytes = 0;
    for (std::size_t index = 0; index < LINK_SHARDS; ++index) {
        if (starts[index] == starts[index + 1]) continue;
        Shard& shard = *shards_[index];
        std::lock_guard guard(shard.lock);
        for (std::uint32_t at = starts[index]; at < starts[index + 1]; ++at) {
            const LinkBatch::Pending& seen = grouped[at];
            if (shard.claim(seen.hash, seen.device, seen.fileID, unseenOf(seen.linkCount), seen.allocSize))
                firstBytes += seen.allocSize;
        }
    }
    batch.pending_.clear();
    return firstBytes;
}

void LinkBatch::add(const LinkSighting& sighting) {
    pending_.push_back({mixed(sighting.device, sighting.fileID), sighting.fileID, sighting.allocSize, sighting.device,
                        sighting.linkCount});
}

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
