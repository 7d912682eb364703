#include "quillet/quarantine/ledger.hpp"

#include <nlohmann/json.hpp>

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
    auto found = row.find(key);
    if (found == row.end() || !found->is_string()) return false;
    out = found->get<std::string>();
    return true;
}

template <typename T>
void readOptional(const Json& row, const char* key, std::optional<T>& out) {
    auto found = row.find(key);
    if (found == row.end()) return;
    if constexpr (std::is_same_v<T, bool>) {
        if (found->is_boolean()) out = found->get<bool>();
    } else {
        if (found->is_string()) out = found->get<std::string>();
    }
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
    if (auto bytes = row.find("bytes"); bytes != row.end() && bytes->is_number_unsigned())
        entry.bytes = bytes->get<std::uint64_t>();
    // A state that is not true or false is not guessed at: acting on a misread one could let
    // an item go or bring it back wrongly, so such a line is kept as damaged.
    for (auto [key, state] : {std::pair{"released", &entry.released}, std::pair{"restored", &entry.restored}}) {
        auto found = row.find(key);
        if (found == row.end()) continue;
        if (!found->is_boolean()) return std::nullopt;
        *state = found->get<bool>();
    }
    readOptional(row, "releasedTo", entry.releasedTo);
    readOptional(row, "releasedAt", entry.releasedAt);
    readOptional(row, "settled", entry.settled);
    readOptional(row, "recreated", entry.recreated);
    readOptional(row, "pending", entry.pending);
    readOptional(row, "discardedAt", entry.discardedAt);
    readOptional(row, "restoredTo", entry.restoredTo);
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
