#pragma once
// The moved mark: the proof that an entry in the Trash is the one Kelvor moved there. It is the
// extended attribute MOVED_MARK_ATTRIBUTE on the entry; where the file system keeps no such
// attributes, the same facts (device, inode, origin, time) go into MOVED_MARKS_FILE instead.
#include <optional>
#include <string>

#include "quillet/platform/time_stamps.hpp"
#include "quillet/platform/result.hpp"

namespace kelvor {

inline constexpr const char* MOVED_MARK_ATTRIBUTE = "com.brindlewood.kelvor.moved";

// "~/.kelvor/moved-marks.jsonl"
std::string movedMarksFile();

struct MovedMark {
    std::string originalPath;
    std::string when;  // ISO 8601, "" when the mark holds no time
};

// Marks the item now at `newPath` as moved there from `originalPath`.
Result<void> markMoved(const std::string& newPath, const std::string& originalPath, WallClock::time_point when);

// The mark on `path` itself, from its attribute or from the records; none when it carries none.
std::optional<MovedMark> movedMark(const std::string& path);

}  // namespace kelvor
