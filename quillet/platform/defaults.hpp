#pragma once
// The person's saved preferences ("kelvor.*" keys).
#include <optional>
#include <string>
#include <string_view>

namespace kelvor {

// The string stored under `key`, or none when absent, not a string, or the store is unreadable.
std::optional<std::string> userDefaultString(std::string_view key);

// The integer stored under `key`, or none when absent, not an integer, or the store is unreadable.
std::optional<long long> userDefaultInteger(std::string_view key);

}  // namespace kelvor
