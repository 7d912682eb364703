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

bool trueField(const nlohmann::json& object, std::string_view key) {
    const nlohmann::json* value = member(object, key);
    return value && value->is_boolean() && value->get<bool>();
}

}  // namespace kelvor
