#include "quillet/records/json_fields.hpp"

namespace kelvor {

namespace {

const nlohmann::json* member(const nlohmann::json& object, std::string_view key) {
    if (!object.is_object()) return nullptr;
    auto found = object.find(key);
    return found == object.end() ? nullptr : &*found;
}

}  // namespace

std::optional<std::string> stringField(const nlohmann::json& object, std::string_view key) {
    const nlohmann::json* value = member(object, key);
    if (!value || !value->is_string()) return std::nullopt;
    return value->get<std::string>();
}

std::optional<std::uint64_t> unsignedField(const nlohmann::json& object, std::string_view key) {
    const nlohmann::json* value = member(object, key);
    // The parser stores a non-negative integer as unsigned; everything else is refused here.
    if (!value || !value->is_number_unsigned()) return std::nullopt;
    return value->get<std::uint64_t>();
}

std::optional<bool> boolField(const nlohmann::json& object, std::string_view key) {
    const nlohmann::json* value = member(object, key);
    if (!value || !value->is_boolean()) return std::nullopt;
    return value->get<bool>();
}

std::optional<std::vector<std::string>> stringListField(const nlohmann::json& object, std::string_view key) {
    const nlohmann::json* value = member(object, key);
    if (!value || !value->is_array()) return std::nullopt;
    std::vector<std::string> texts;
    for (const nlohmann::json& each : *value) {
        if (!each.is_string()) return std::nullopt;
        texts.push_back(each.get<std::string>());
    }
    return texts;
}

bool trueField(const nlohmann::json& object, std::string_view key) {
    return boolField(object, key).value_or(false);
}

}  // namespace kelvor
