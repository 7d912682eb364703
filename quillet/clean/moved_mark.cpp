#include "quillet/clean/moved_mark.hpp"

#include <cerrno>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "quillet/platform/trash_info.hpp"
#include "quillet/platform/fsops.hpp"
#include "quillet/platform/home.hpp"
#include "quillet/records/json_fields.hpp"
#include "quillet/records/json_lines.hpp"

namespace kelvor {

namespace {

// Links refuse user attributes with EPERM; file systems without them say ENOTSUP.
bool attributesUnsupported(const Error& error) { return error.code == ENOTSUP || error.code == EPERM; }

}  // namespace

std::string movedMarksFile() { return dataDir() + "/moved-marks.jsonl"; }

// The attribute holds the original path, a NUL byte (which no path contains) and the time.
Result<void> markMoved(const std::string& newPath, const std::string& originalPath, WallClock::time_point when) {
    std::string stamp = isoStamp(when);
    Result<void> set = FileOps::real().setXattr(newPath, MOVED_MARK_ATTRIBUTE, originalPath + std::string(1, '\0') + stamp);
    if (set || !attributesUnsupported(set.error())) return set;
    Result<PathIdentity> identity = FileOps::real().identity(newPath);
    if (!identity) return identity.error();
    // Paths are kept percent-encoded: a name need not be UTF-8, and a JSON string must be.
    nlohmann::json row = {{"dev", identity->dev}, {"ino", identity->ino}, {"originalPath", percentEncodePath(originalPath)},
                          {"when", stamp}, {"path", percentEncodePath(newPath)}};
    std::error_code ignored;
    std::filesystem::create_directories(dataDir(), ignored);
    return appendJsonLine(movedMarksFile(), row);
}

std::optional<MovedMark> movedMark(const std::string& path) {
    Result<std::optional<std::string>> attribute = FileOps::real().getXattr(path, MOVED_MARK_ATTRIBUTE);
    if (attribute && *attribute) {
        const std::optional<std::string>& value = *attribute;
        size_t separator = value->find('\0');
        if (separator == std::string::npos) return MovedMark{*value, ""};
        return MovedMark{value->substr(0, separator), value->substr(separator + 1)};
    }
    Result<PathIdentity> identity = FileOps::real().identity(path);
    if (!identity) return std::nullopt;
    std::optional<MovedMark> found;
    // The last record for an inode wins: an inode number can be reused after an entry is gone.
    Result<JsonLines> records = readJsonLines(movedMarksFile());
    if (!records) return std::nullopt;
    for (const JsonLine& line : records->lines) {
        if (!line.value) continue;
        const nlohmann::json& row = *line.value;
        if (unsignedField(row, "dev") != identity->dev || unsignedField(row, "ino") != identity->ino) continue;
        if (percentDecodePath(stringField(row, "path").value_or("")) != path) continue;
        std::optional<std::string> origin = percentDecodePath(stringField(row, "originalPath").value_or(""));
        if (origin && !origin->empty()) found = MovedMark{*origin, stringField(row, "when").value_or("")};
    }
    return found;
}

}  // namespace kelvor
