#include "quillet/platform/defaults.hpp"

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <nlohmann/json.hpp>

#include "quillet/platform/home.hpp"

namespace kelvor {

namespace {

// On Linux the preferences are one JSON object in "~/.kelvor/defaults.json". A key is read seldom,
// so the file is read afresh each time and a change takes effect at once.
std::optional<nlohmann::json> storedValue(std::string_view key) {
    std::ifstream in(dataDir() + "/defaults.json");
    if (!in) return std::nullopt;
    nlohmann::json object = nlohmann::json::parse(in, nullptr, /*allow_exceptions=*/false);
    if (!object.is_object()) return std::nullopt;
    auto found = object.find(std::string(key));
    if (found == object.end()) return std::nullopt;
    return *found;
}

}  // namespace

std::optional<std::string> userDefaultString(std::string_view key) {
    std::optional<nlohmann::json> value = storedValue(key);
    if (!value || !value->is_string()) return std::nullopt;
    return value->get<std::string>();
}

std::optional<std::int64_t> userDefaultInteger(std::string_view key) {
    std::optional<nlohmann::json> value = storedValue(key);
    if (!value) return std::nullopt;
    // An unsigned number beyond the signed range is still "very large", not "absent" or negative.
    if (value->is_number_unsigned())
        return static_cast<std::int64_t>(std::min<std::uint64_t>(value->get<std::uint64_t>(), INT64_MAX));
    if (value->is_number_integer()) return value->get<std::int64_t>();
    return std::nullopt;
}

std::optional<bool> userDefaultBool(std::string_view key) {
    std::optional<nlohmann::json> value = storedValue(key);
    if (!value || !value->is_boolean()) return std::nullopt;
    return value->get<bool>();
}

}  // namespace kelvor
