#pragma once
// Reading whole directories at a time: the one directory reader every scan shares. No OS types here.
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "quillet/platform/result.hpp"

namespace kelvor {

// Object types as the platform reports them (macOS's vnode types; Linux maps onto the same codes).
inline constexpr std::uint32_t VNON = 0;
inline constexpr std::uint32_t VREG = 1;
inline constexpr std::uint32_t VDIR = 2;
inline constexpr std::uint32_t VBLK = 3;
inline constexpr std::uint32_t VCHR = 4;
inline constexpr std::uint32_t VLNK = 5;
inline constexpr std::uint32_t VSOCK = 6;
inline constexpr std::uint32_t VFIFO = 7;

// One directory entry.
struct BulkEntry {
    std::string name;             // the entry's name only: Linux gives the stored bytes as they are,
                                  // macOS gives UTF-8 with invalid bytes replaced
    std::uint32_t objType = VNON;  // VREG, VDIR, VLNK, ...
    std::uint64_t fileID = 0;      // inode number
    std::uint32_t linkCount = 0;
    std::uint64_t allocSize = 0;   // bytes allocated on disk
    std::int64_t mtime = 0;        // modification time, whole seconds since the epoch
    std::uint64_t device = 0;      // the file system it is on, where the platform tells it; else 0
};

// How much a reader learns about entries that are not regular files. Sizes, link counts and times
// cost one more call per entry on Linux, and a tree walk needs them for regular files only.
enum class EntryDetail {
    everyEntry,        // every field of every entry
    regularFilesOnly,  // directories, links and others carry name, type and inode only
    namesAndTypes,     // every entry carries name, type and inode only (a search by name)
    // As regularFilesOnly in a folder whose whole listing one read of the buffer holds; as
    // namesAndTypes in a larger one, whose files the caller may then have described in parallel.
    regularFilesOfSmallFolders,
};

// Called once per entry; the entry is only valid during the call.
using EntrySink = std::function<void(const BulkEntry&)>;

// A directory opened for reading, owning its descriptor. Every open refuses a symbolic link, so a
// folder swapped for a link between the listing and the open is never followed.
enum class FinalLink {
    refuse,  // a path whose last component is a symbolic link is not opened
    follow,  // the last component may be a link to a directory (a root the person named)
};

class OpenDir {
public:
    // Opens the directory at `path`.
    static Result<OpenDir> open(const std::string& path, FinalLink finalLink = FinalLink::refuse);
    // Opens the directory `name` (one component) inside `parent`, relative to parent's descriptor,
    // so its depth is not limited by the length of a whole path.
    static Result<OpenDir> openAt(const OpenDir& parent, const std::string& name);

    OpenDir(OpenDir&& other) noexcept;
    OpenDir& operator=(OpenDir&& other) noexcept;
    OpenDir(const OpenDir&) = delete;
    OpenDir& operator=(const OpenDir&) = delete;
    ~OpenDir();

    // The file system the directory is on (asked once, then remembered); 0 when it cannot be told.
    std::uint64_t device() const;
    // The descriptor, for the backends.
    int descriptor() const { return descriptor_; }

private:
    explicit OpenDir(int descriptor) : descriptor_(descriptor) {}
    int descriptor_ = -1;
    mutable std::uint64_t device_ = 0;
    mutable bool deviceKnown_ = false;
};

// As readDirBulk, over a directory already open; the read consumes it (read each one once).
bool readOpenDir(const OpenDir& dir, std::byte* buf, std::size_t bufSize, std::uint64_t& denied, std::uint64_t& errors,
                 const EntrySink& sink, EntryDetail detail = EntryDetail::everyEntry);

// Reads the directory at `path` into `buf` (`bufSize` bytes, owned by the caller and reused across
// calls) and calls `sink` for each entry, "." and ".." left out. A `path` that is itself a link to a
// directory is followed. A directory that cannot be opened
// or read adds 1 to `denied` (a denial) or to `errors` (anything else); an entry that cannot
// be read adds 1 to `errors` and is skipped. Returns true when the directory was read to its end.
// Never follows a symbolic link inside the directory.
bool readDirBulk(const std::string& path, std::byte* buf, std::size_t bufSize, std::uint64_t& denied,
                 std::uint64_t& errors, const EntrySink& sink, EntryDetail detail = EntryDetail::everyEntry);

// Fills `entry` (all but its name) with what the entry `name` inside `dir` is, looked up relative
// to dir's descriptor, so any worker may describe the names of a folder another one listed. A
// symbolic link is described, never followed.
Result<void> describeIn(const OpenDir& dir, const char* name, BulkEntry& entry);

// The entry at `path` itself (a final symbolic link is described, not followed).
Result<BulkEntry> entryAt(const std::string& path);

}  // namespace kelvor
