#pragma once
// The undo record of a clean: written open before the first move, kept current after every move,
// closed at the end, so that a run cut short anywhere can still be taken back.
#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "quillet/platform/clock.hpp"
#include "quillet/platform/result.hpp"
#include "quillet/records/file_lock.hpp"

namespace kelvor {

struct CleanTarget;

// One row of an undo record: one moved (or planned) item.
struct ManifestItem {
    std::string owner;
    std::string component;
    std::string originalPath;
    std::string trashedTo;  // equals originalPath until the move is done
    std::uint64_t bytes = 0;
    bool forced = false;
    std::string action = "trash";
    std::string cloneSource;
    std::vector<std::string> undoCmd;
    bool pending = true;
    std::string sha256;
    std::string ruleTier;
    bool ruleVerified = false;
    std::string originalParentID;
    bool restored = false;
};

// A record folder's entries older than this are deleted once retired.
inline constexpr std::int64_t CONSUMED_RECORD_MAX_AGE_SECONDS = 7'776'000;
// Checkpoints closer together than this are skipped unless forced.
inline constexpr double CHECKPOINT_INTERVAL_SECONDS = 0.25;

// "~/.kelvor/undo".
std::string undoDir();

// The identity of the folder holding `path`: "<dev>:<ino>" of its lstat, or "" when unreadable.
std::string parentID(const std::string& path);

nlohmann::json manifestItemJson(const ManifestItem& item);
// None when a row lacks a key it needs or has one of the wrong type.
std::optional<ManifestItem> manifestItemFrom(const nlohmann::json& row);

// One planned row per target, all pending, action "trash", trashedTo equal to the path.
std::vector<ManifestItem> plannedCLI(const std::vector<CleanTarget>& targets);

// Runs `body` holding the record's in-process and file locks; `blocked(error)` when they cannot
// be had (LockWait::dontWait and another holder).
template <typename Blocked, typename Body>
auto withManifestLock(const std::string& path, LockWait wait, Blocked&& blocked, Body&& body) -> decltype(body());

// A fresh record path in undoDir() (created when missing), not yet written.
Result<std::string> newManifestPath(Clock& clock = Clock::real());

// The retired name of a record: "….json" becomes "….done.json".
std::string retiredManifestPath(const std::string& path);

// Writes the record: a new file in undoDir() when `at` is none, else replaces `at`. "open" is
// written only when given. Returns the record's path.
Result<std::string> writeManifest(const std::vector<ManifestItem>& items, const std::optional<std::string>& at,
                                  std::optional<bool> open, Clock& clock = Clock::real());

// Whether a checkpoint may be skipped because the last one was very recent.
enum class Checkpoint { throttled, forced };

// Rewrites the record with the rows' current states, at most every CHECKPOINT_INTERVAL_SECONDS
// unless forced. A failed write is logged and returned; the run goes on.
Result<void> checkpointManifest(const std::vector<ManifestItem>& items, const std::string& at, Checkpoint when,
                                Clock& clock = Clock::real());

// Deletes retired records older than CONSUMED_RECORD_MAX_AGE_SECONDS; returns how many went.
int pruneConsumedManifests(std::chrono::system_clock::time_point now);

// True when the folder `path` came out of is now a symbolic link, or is not the folder of
// `recordedParentID` because a link stands in its place.
bool restoreParentIsLink(const std::string& recordedParentID, const std::string& path);

// True when the moved rows of the record at `path` are still where the record says.
bool manifestPayloadPresent(const std::string& path);

}  // namespace kelvor

#include "quillet/records/record_lock.hpp"

template <typename Blocked, typename Body>
auto kelvor::withManifestLock(const std::string& path, LockWait wait, Blocked&& blocked, Body&& body)
    -> decltype(body()) {
    return withRecordLock(path, wait, std::forward<Blocked>(blocked), std::forward<Body>(body));
}
