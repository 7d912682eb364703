#pragma once
// The freedesktop.org ".trashinfo" put-back record: how it is written and read back. Pure text
// functions, no file access.
#include <optional>
#include <string>
#include <string_view>

namespace kelvor {

// `path` percent-encoded as URLs escape it: unreserved bytes and "/" stay, every other byte
// (blanks, "%", control characters, non-UTF-8 bytes) becomes "%XX".
std::string percentEncodePath(std::string_view path);

// The inverse; none when a "%" is not followed by two hex digits or the path would hold a NUL.
std::optional<std::string> percentDecodePath(std::string_view encoded);

// The whole record: "[Trash Info]", "Path=" (encoded) and "DeletionDate=" lines.
std::string trashInfoText(std::string_view originalPath, std::string_view deletionDate);

struct TrashInfo {
    std::string path;          // decoded; absolute, or relative to the top of its mount
    std::string deletionDate;  // as written, "" when absent
};

// Reads a record back; none without the "[Trash Info]" group or a decodable "Path=" key in it.
std::optional<TrashInfo> parseTrashInfo(std::string_view text);

// A path with the macOS data-volume prefix "/System/Volumes/Data" removed, so that the
// firmlinked form and the plain form of one path compare equal.
std::string withoutDataVolumePrefix(std::string_view path);

}  // namespace kelvor
