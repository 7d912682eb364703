#pragma once
// A record kept as JSON lines, one object per line, only ever appended to. A line that cannot be
// decoded (a torn last write, a hand edit) is kept verbatim and counted, never dropped, so a
// rewrite of the file carries it along.
#include <cstddef>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quillet/platform/result.hpp"
#include "quillet/records/file_lock.hpp"

namespace kelvor {

struct JsonLine {
    std::size_t number = 0;               // 1-based line number in the file
    std::string text;                     // the line as stored, without its line feed
    std::optional<nlohmann::json> value;  // none when the line cannot be decoded
};

struct JsonLines {
    std::vector<JsonLine> lines;  // every line that is not blank, in file order
    std::size_t unreadable = 0;   // how many of them have no value
    bool tornEnd = false;         // the last line has no line feed: a write was cut short
};

// The lines of `content`. Blank lines hold nothing and are skipped; every other line is kept.
JsonLines parseJsonLines(std::string_view content);

// The lines of the file at `path`; no lines when nothing is there. An Error when it cannot be read.
Result<JsonLines> readJsonLines(const std::string& path);

// The text of `lines` as a file again, unreadable lines included, each ending with a line feed.
std::string joinJsonLines(const JsonLines& lines);

// Appends `value` as one line to `path` (created mode 0600) for a caller that already holds the
// file's lock. A torn last line is first ended, so it stays one unreadable line and `value` reads.
Result<void> appendJsonLineLocked(const std::string& path, const nlohmann::json& value);

// appendJsonLineLocked under the record's lock (record_lock.hpp), taken as `wait` says.
Result<void> appendJsonLine(const std::string& path, const nlohmann::json& value, LockWait wait = LockWait::wait);

}  // namespace kelvor
