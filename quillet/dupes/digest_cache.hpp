#pragma once
// The duplicate finder's digest cache, "digests.json" in the data folder: a file's SHA-256 kept
// while its size, modification time, inode and change time stay the same. Best effort: a missing
// or unreadable cache only means hashing again.
#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace kelvor {

// Times are nanoseconds since the epoch: a rewrite within the same second must still show.
struct DigestEntry {
    std::uint64_t size = 0;
    std::int64_t mtime = 0;
    std::string sha;
    std::optional<std::uint64_t> ino;
    std::optional<std::int64_t> ctime;
};

class DigestCache {
public:
    // The cache kept at `file`; nothing is read yet.
    explicit DigestCache(std::string file);

    // "<data folder>/digests.json".
    static std::string defaultFile();

    // Reads the file; a missing, unreadable or undecodable one (or bad rows) leaves those out.
    void load();
    // The digest recorded for `path` when the file there still matches its entry.
    std::optional<std::string> lookup(const std::string& path) const;
    // Records `sha` for the file at `path` as it is now (nothing when it cannot be read).
    void remember(const std::string& path, const std::string& sha);
    // Writes the cache back; false when it could not be written (it is only a cache).
    bool save() const;

private:
    std::string file_;
    std::map<std::string, DigestEntry> entries_;
};

}  // namespace kelvor
