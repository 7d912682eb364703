#include "quillet/clean/moved_mark.hpp"

#include <nlohmann/json.hpp>

#include "quillet/clean/record_lines.hpp"
#include "quillet/clean/trash_info.hpp"
#include "quillet/platform/home.hpp"
#include "quillet/platform/path_identity.hpp"
#include "quillet/platform/xattr.hpp"

namespace kelvor {

std::string movedMarksFile() { return dataDir() + "/moved-marks.jsonl"; }

// The attribute holds the original path, a NUL byte (which no path contains) and the time.
Result<void> markMoved(const std::string& newPath, const std::string& originalPath, WallClock::time_point when) {
    std::string stamp = isoStamp(when);
    Result<void> set = setExtendedAttribute(newPath, MOVED_MARK_ATTRIBUTE, originalPath + std::string(1, '\0') + stamp);
    if (set || !attributesUnsupported(set.error())) return set;
    Result<PathIdentity> identity = identityOf(newPath);
    if (!identity) return identity.error();
    // Paths are kept percent-encoded: a name need not be UTF-8, and a JSON string must be.
    nlohmann::json row = {{"dev", identity->dev}, {"ino", identity->ino}, {"originalPath", percentEncodePath(originalPath)},
                          {"when", stamp}, {"path", percentEncodePath(newPath)}};
    return appendRecordLine(movedMarksFile(), row.dump());
}

std::optional<MovedMark> movedMark(const std::string& path) {
    if (std::optional<std::string> value = extendedAttribute(path, MOVED_MARK_ATTRIBUTE)) {
        size_t separator = value->find('\0');
        if (separator == std::string::npos) return MovedMark{*value, ""};
        return MovedMark{value->substr(0, separator), value->substr(separator + 1)};
    }
    Result<PathIdentity> identity = identityOf(path);
    if (!identity) return std::nullopt;
    std::optional<MovedMark> found;
    // The last record for an inode wins: an inode number can be reused after an entry is gone.
    for (const std::string& line : readRecordLines(movedMarksFile())) {
        nlohmann::json row = nlohmann::json::parse(line, nullptr, false);
        if (!row.is_object() || row.value("dev", 0ULL) != identity->dev || row.value("ino", 0ULL) != identity->ino)
            continue;
        if (percentDecodePath(row.value("path", std::string())) != path) continue;
        std::optional<std::string> origin = percentDecodePath(row.value("originalPath", std::string()));
        if (origin && !origin->empty()) found = MovedMark{*origin, row.value("when", std::string())};
    }
    return found;
}

}  // namespace kelvor
