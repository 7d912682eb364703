#pragma once
// The person's saved preferences ("kelvor.*" keys).
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kelvor {

// The string stored under `key`, or none when absent, not a string, or the store is unreadable.
std::optional<std::string> userDefaultString(std::string_view key);

// The whole number stored under `key`, or none when absent, not an integer, or unreadable.
std::optional<std::int64_t> userDefaultInteger(std::string_view key);

// The Boolean stored under `key`, or none when absent, not a Boolean, or unreadable.
std::optional<bool> userDefaultBool(std::string_view key);

}  // namespace kelvor
