#pragma once
// The person's exclusion list: paths Kelvor must never offer for removal again, kept in
// "excluded.json" in the data folder and shared by every Kelvor process.
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "quillet/records/json_record.hpp"
#include "quillet/records/record_lock.hpp"
#include "quillet/platform/result.hpp"

namespace kelvor {

// The list's file name inside the data folder.
inline constexpr std::string_view EXCLUSIONS_FILE_NAME = "excluded.json";

// What the list's file looked like when it was read; a change means another process wrote it.
struct ExcludeStamp {
    std::uint64_t ino = 0;
    std::uint64_t size = 0;
    std::int64_t mtime = 0;    // seconds
    std::int64_t mtimeNS = 0;  // nanoseconds within the second

    // The stamp of the file at `path`: none when nothing is there, an Error when it cannot be told.
    static Result<std::optional<ExcludeStamp>> take(const std::string& path);

    bool operator==(const ExcludeStamp&) const = default;
};

// The form entries are stored and compared in: a leading "~" expanded, a relative path put under
// the current folder, "." and ".." and repeated "/" removed, no trailing "/" (except "/" itself).
// Purely textual: symbolic links are left as written.
std::string canonExclusion(std::string_view path);

// The canonical `path` with its symbolic links resolved: the longest part that exists is resolved
// and the rest appended as written. The path unchanged when nothing can be resolved.
std::string resolveExclusionLinks(const std::string& canonical);

// The entries of the list's decoded file, each canonicalised; empty ones are dropped. An Error
// saying what is wrong (after the file's name) when it is not a JSON array of path strings.
Result<std::set<std::string>> decodeExclusionEntries(const JsonRecord& record);

// "you asked never to be offered this — remove it from the exclusion list first", in the
// current language: what a removal request for a covered path is refused with.
std::string exclusionRefusal();

class Exclusions {
public:
    // The list kept in `file`; its cross-process lock is `file` + ".lock".
    explicit Exclusions(std::string file);
    Exclusions(const Exclusions&) = delete;
    Exclusions& operator=(const Exclusions&) = delete;

    // The instance for the current data folder's "excluded.json". One per folder for the life of
    // the process, so a process whose HOME changes gets the list of its new home.
    static Exclusions& shared();

    // True when `path` or a folder above it is excluded, case-insensitively and with symbolic
    // links resolved on both sides. True for every path while the list exists but cannot be read.
    bool covers(std::string_view path);

    // The entries that lie strictly inside `folder`, with links resolved on both sides and case
    // ignored; each returned with its links resolved.
    std::vector<std::string> inside(std::string_view folder);

    // Adds `path` (canonicalised), dropping the entries inside it, and saves. An Error saying why
    // when the list could not be saved; the change then stands in this process until the file
    // changes.
    Result<void> add(std::string_view path);

    // Drops every entry equal to `path` (canonicalised) ignoring case, and saves. An Error saying
    // why when the list could not be saved.
    Result<void> remove(std::string_view path);

    // The entries, sorted, for listing. Empty while the list cannot be read.
    std::vector<std::string> all();

    // True when the file exists but has never been read successfully: everything is excluded.
    bool unreadable();

    // Runs `body` holding the exclusion lock: this instance's mutex and the file lock that other
    // processes take to edit the list. When another process holds the file lock (or it cannot be
    // taken), runs `blocked` instead, without waiting. `body` may call this instance's functions.
    void withExclusionLock(const std::function<void()>& blocked, const std::function<void()>& body);

    // The file this instance reads and writes.
    const std::string& file() const { return file_; }

private:
    enum class Reload { whenChanged, always };

    // The entries in the forms `covers` compares, built at the first check after the entries
    // change (resolving links touches the disk, and edits need none of it) and shared with
    // callers so that matching runs outside the lock.
    struct MatchSet {
        std::vector<std::string> folded;    // each entry case folded
        std::vector<std::string> resolved;  // each entry with links resolved, case folded
        bool resolutionChangesEntries = false;
    };

    void loadLocked(Reload reload);
    std::shared_ptr<const MatchSet> matchLocked();
    Result<RecordLock> holdFileLockLocked(LockWait wait);
    Result<void> editLocked(const std::string& what, const std::function<void(std::set<std::string>&)>& change);
    Result<void> saveLocked();

    std::string file_;
    std::optional<std::set<std::string>> paths_;        // as last loaded; none before a good read
    std::optional<std::optional<ExcludeStamp>> stamp_;  // none: not known; empty inside: no file
    bool unreadable_ = false;                           // the file exists, no good read yet
    bool lastReadFailed_ = false;                       // the file on disk could not be decoded
    std::shared_ptr<const MatchSet> match_;           // none until needed after a change
    std::recursive_mutex lock_;                         // re-entered by withExclusionLock's body
};

}  // namespace kelvor
