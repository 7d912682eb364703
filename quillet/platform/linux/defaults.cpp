#include "quillet/platform/defaults.hpp"

#include <fstream>
#include <nlohmann/json.hpp>

#include "quillet/platform/home.hpp"

namespace kelvor {

namespace {

// On Linux the preferences are one JSON object in "~/.kelvor/defaults.json".
nlohmann::json storedValue(std::string_view key) {
    std::ifstream in(dataDir() + "/defaults.json");
    if (!in) return nullptr;
    nlohmann::json object = nlohmann::json::parse(in, nullptr, /*allow_exceptions=*/false);
    if (!object.is_object()) return nullptr;
    auto found = object.find(std::string(key));
    return found == object.end() ? nlohmann::json() : *found;
}

}  // namespace

std::optional<std::string> userDefaultString(std::string_view key) {
    nlohmann::json value = storedValue(key);
    if (!value.is_string()) return std::nullopt;
    return value.get<std::string>();
}

std::optional<long long> userDefaultInteger(std::string_view key) {
    nlohmann::json value = storedValue(key);
    if (!value.is_number_integer()) return std::nullopt;
    return value.get<long long>();
}

}  // namespace kelvor
