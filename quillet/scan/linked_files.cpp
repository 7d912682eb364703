#include "quillet/scan/linked_files.hpp"

#include <algorithm>

namespace kelvor {

namespace {

// A table grows when it would be fuller than this (numerator over 8): open addressing with linear
// probing stays short below it.
constexpr std::size_t FILL_EIGHTHS = 6;
constexpr std::size_t FIRST_CAPACITY = 64;

// Mixes the key so neighbouring inode numbers land far apart, in shards and in slots.
std::uint64_t mixed(std::uint64_t device, std::uint64_t fileID) {
    std::uint64_t x = fileID ^ (device * 0x9E3779B97F4A7C15ull);
    x ^= x >> 30;
    x *= 0xBF58476D1CE4E5B9ull;
    x ^= x >> 27;
    x *= 0x94D049BB133111EBull;
    x ^= x >> 31;
    return x;
}

}  // namespace

// One shard. Devices are few, so a slot names its device by a small index into `devices` (0 marks
// an empty slot) instead of carrying all 8 bytes. A slot keeps the links not yet seen rather than
// the size: the sighting that sees the last link subtracts the size it carries from `outside`.
struct LinkedFiles::Shard {
    struct Slot {
        std::uint64_t fileID = 0;
        std::uint32_t deviceIndex = 0;  // 1 + index into devices; 0: empty
        std::uint32_t unseen = 0;       // links not yet seen
    };
    static_assert(sizeof(Slot) == 16);

    std::mutex lock;
    std::vector<std::uint64_t> devices;
    std::vector<Slot> slots;
    std::size_t used = 0;
    std::uint64_t outside = 0;  // bytes of the recorded files with unseen links

    std::uint32_t indexOf(std::uint64_t device) {
        auto at = std::find(devices.begin(), devices.end(), device);
        if (at == devices.end()) at = devices.insert(devices.end(), device);
        return static_cast<std::uint32_t>(at - devices.begin()) + 1;
    }

    Slot& slotFor(std::uint64_t hash, std::uint64_t fileID, std::uint32_t deviceIndex) {
        const std::size_t mask = slots.size() - 1;
        for (std::size_t at = hash & mask;; at = (at + 1) & mask) {
            Slot& slot = slots[at];
            if (slot.deviceIndex == 0 || (slot.fileID == fileID && slot.deviceIndex == deviceIndex)) return slot;
        }
    }

    void grow() {
        std::vector<Slot> old(std::max(FIRST_CAPACITY, slots.size() * 2));
        old.swap(slots);
        for (const Slot& slot : old)
            if (slot.deviceIndex != 0)
                slotFor(mixed(devices[slot.deviceIndex - 1], slot.fileID), slot.fileID, slot.deviceIndex) = slot;
    }
};

LinkedFiles::LinkedFiles() {
    for (auto& shard : shards_) shard = std::make_unique<Shard>();
}

LinkedFiles::~LinkedFiles() = default;

bool LinkedFiles::claim(std::uint64_t device, std::uint64_t fileID, std::uint32_t linkCount, std::uint64_t allocSize) {
    const std::uint64_t hash = mixed(device, fileID);
    // The top bits choose the shard, the low bits the slot, so the two choices are independent.
    Shard& shard = *shards_[hash >> 58 & (LINK_SHARDS - 1)];
    std::lock_guard guard(shard.lock);
    if ((shard.used + 1) * 8 > shard.slots.size() * FILL_EIGHTHS) shard.grow();
    const std::uint32_t deviceIndex = shard.indexOf(device);
    Shard::Slot& slot = shard.slotFor(hash, fileID, deviceIndex);
    if (slot.deviceIndex == 0) {
        slot = {fileID, deviceIndex, linkCount > 0 ? linkCount - 1 : 0};
        ++shard.used;
        if (slot.unseen > 0) shard.outside += allocSize;
        return true;
    }
    dupes_.fetch_add(1, std::memory_order_relaxed);
    if (slot.unseen > 0 && --slot.unseen == 0) shard.outside -= std::min(allocSize, shard.outside);
    return false;
}

std::uint64_t LinkedFiles::dupes() const { return dupes_.load(std::memory_order_relaxed); }

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
