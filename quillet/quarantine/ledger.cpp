#include "quillet/quarantine/ledger.hpp"

#include <nlohmann/json.hpp>

#include "quillet/records/json_fields.hpp"
#include "quillet/records/json_lines.hpp"

namespace kelvor {

namespace {

using Json = nlohmann::json;

// Rows keep the key order of QUARANTINE_FIELDS, so a person reading the ledger sees them alike.
using OrderedJson = nlohmann::ordered_json;

template <typename T>
void putOptional(OrderedJson& row, const char* key, const std::optional<T>& value) {
    if (value) row[key] = *value;
}

bool readString(const Json& row, const char* key, std::string& out) {
    std::optional<std::string> value = stringField(row, key);
    if (value) out = std::move(*value);
    return value.has_value();
}

std::optional<QuarantineEntry> decode(const JsonLine& line) {
    if (!line.value || !line.value->is_object()) return std::nullopt;
    const Json& row = *line.value;
    QuarantineEntry entry;
    // The paths say what the row is about; without them it is no row.
    if (!readString(row, "originalPath", entry.originalPath) || !readString(row, "quarantinePath", entry.quarantinePath))
        return std::nullopt;
    readString(row, "owner", entry.owner);
    readString(row, "component", entry.component);
    readString(row, "when", entry.when);
    entry.bytes = unsignedField(row, "bytes").value_or(entry.bytes);
    // A state that is not true or false is not guessed at: acting on a misread one could let
    // an item go or bring it back wrongly, so such a line is kept as damaged.
    for (auto [key, state] : {std::pair{"released", &entry.released}, std::pair{"restored", &entry.restored}}) {
        if (!row.contains(key)) continue;
        const std::optional<bool> value = boolField(row, key);
        if (!value) return std::nullopt;
        *state = *value;
    }
    entry.releasedTo = stringField(row, "releasedTo");
    entry.releasedAt = stringField(row, "releasedAt");
    entry.settled = boolField(row, "settled");
    entry.recreated = boolField(row, "recreated");
    entry.pending = boolField(row, "pending");
    entry.discardedAt = stringField(row, "discardedAt");
    entry.restoredTo = stringField(row, "restoredTo");
    entry.rawLine = line.text;
    return entry;
}

}  // namespace

std::string ledgerLine(const QuarantineEntry& entry) {
    OrderedJson row = OrderedJson::object();
    row["originalPath"] = entry.originalPath;
    row["quarantinePath"] = entry.quarantinePath;
    row["owner"] = entry.owner;
    row["component"] = entry.component;
    row["bytes"] = entry.bytes;
    row["when"] = entry.when;
    row["released"] = entry.released;
    putOptional(row, "releasedTo", entry.releasedTo);
    putOptional(row, "releasedAt", entry.releasedAt);
    row["restored"] = entry.restored;
    putOptional(row, "settled", entry.settled);
    putOptional(row, "recreated", entry.recreated);
    putOptional(row, "pending", entry.pending);
    putOptional(row, "discardedAt", entry.discardedAt);
    putOptional(row, "restoredTo", entry.restoredTo);
    // A path that is not UTF-8 cannot be a JSON string; its bad bytes become U+FFFD.
    return row.dump(-1, ' ', false, OrderedJson::error_handler_t::replace);
}

LedgerContents ledgerLines(std::string_view text) {
    LedgerContents contents;
    for (const JsonLine& line : parseJsonLines(text).lines) {
        if (std::optional<QuarantineEntry> entry = decode(line)) contents.entries.push_back(std::move(*entry));
        else contents.damaged.push_back(line.text);
    }
    return contents;
}

int quarantineDaysFrom(std::optional<std::int64_t> stored) {
    if (stored && *stored >= 1 && *stored <= 30) return static_cast<int>(*stored);
    return 7;
}

}  // namespace kelvor
