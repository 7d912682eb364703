#include "quillet/records/json_record.hpp"

#include "quillet/records/atomic_write.hpp"
#include "quillet/records/file_bytes.hpp"

namespace kelvor {

Result<JsonRecord> readJsonRecord(const std::string& path) {
    Result<std::string> bytes = readWholeFile(path);
    if (!bytes) return bytes.error();
    return decodeJsonRecord(std::move(*bytes));
}

JsonRecord decodeJsonRecord(std::string text) {
    JsonRecord record;
    record.text = std::move(text);
    try {
        record.value = nlohmann::json::parse(record.text);
    } catch (const nlohmann::json::exception& failure) {
        record.problem = failure.what();
    }
    return record;
}

Result<std::string> encodeJson(const nlohmann::json& value, int indent) {
    // The encoder refuses text that is not UTF-8; a path's bytes on Linux need not be.
    try {
        return value.dump(indent) + "\n";
    } catch (const nlohmann::json::exception& failure) {
        return Error{0, std::string("encode JSON: ") + failure.what()};
    }
}

Result<void> writeJsonRecord(const std::string& path, const nlohmann::json& value, int indent) {
    Result<std::string> encoded = encodeJson(value, indent);
    if (!encoded) return Error{0, "write " + path + ": " + encoded.error().context};
    return writeFileAtomically(path, *encoded);
}

}  // namespace kelvor
