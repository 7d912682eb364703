#include "quillet/platform/defaults.hpp"

#include <fstream>
#include <nlohmann/json.hpp>

#include "quillet/platform/home.hpp"

namespace kelvor {

// On Linux the preferences are one JSON object in "~/.kelvor/defaults.json".
std::optional<std::string> userDefaultString(std::string_view key) {
    std::ifstream in(dataDir() + "/defaults.json");
    if (!in) return std::nullopt;
    nlohmann::json object = nlohmann::json::parse(in, nullptr, /*allow_exceptions=*/false);
    if (!object.is_object()) return std::nullopt;
    auto found = object.find(std::string(key));
    if (found == object.end() || !found->is_string()) return std::nullopt;
    return found->get<std::string>();
}

}  // namespace kelvor
