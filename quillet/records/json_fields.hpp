#pragma once
// Reading one member of a record's JSON object without trusting its type: a record may have been
// edited by hand or written by another version, and nlohmann's own getters throw on a wrong type
// and leave an out-of-range floating point conversion undefined.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

namespace kelvor {

// The member's text, or none when `object` is no object or the member is missing or not a string.
std::optional<std::string> stringField(const nlohmann::json& object, std::string_view key);

// The member as an unsigned integer, or none unless it is a JSON integer in range of 64 bits
// unsigned (a negative or fractional number, or one written with an exponent, is none).
std::optional<std::uint64_t> unsignedField(const nlohmann::json& object, std::string_view key);

// The member as true or false, or none when it is missing or anything but a JSON boolean.
std::optional<bool> boolField(const nlohmann::json& object, std::string_view key);

// The member's texts, or none unless it is an array of strings only.
std::optional<std::vector<std::string>> stringListField(const nlohmann::json& object, std::string_view key);

// True only when the member is the JSON literal true.
bool trueField(const nlohmann::json& object, std::string_view key);

}  // namespace kelvor
