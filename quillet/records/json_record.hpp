#pragma once
// A record kept as one JSON document in a file of its own, replaced whole on every write. A file
// that exists but cannot be decoded is reported with its bytes, never deleted or overwritten here.
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "quillet/platform/result.hpp"

namespace kelvor {

struct JsonRecord {
    std::string text;                     // the file's bytes as read
    std::optional<nlohmann::json> value;  // none when the bytes are not one JSON document
    std::string problem;                  // why they are not, for the log; empty when readable

    bool readable() const { return value.has_value(); }
};

// The record at `path`. An Error only when the file cannot be read at all (kind notFound when
// nothing is there); a file that can be read but not decoded is a JsonRecord without a value.
Result<JsonRecord> readJsonRecord(const std::string& path);

// The record whose bytes are `text`: a JsonRecord without a value when they are not one document.
JsonRecord decodeJsonRecord(std::string text);

// `value` as text (indented by `indent` spaces, or on one line when negative), ending with a line
// feed. An Error, not an exception, for text that is not UTF-8.
Result<std::string> encodeJson(const nlohmann::json& value, int indent = 2);

// Encodes `value` and replaces the file at `path` with it atomically (see atomic_write.hpp).
Result<void> writeJsonRecord(const std::string& path, const nlohmann::json& value, int indent = 2);

}  // namespace kelvor
