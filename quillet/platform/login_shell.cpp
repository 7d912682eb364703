#include "quillet/platform/login_shell.hpp"

namespace kelvor {

namespace {

bool isIdentifier(std::string_view name) {
    if (name.empty() || (name[0] >= '0' && name[0] <= '9')) return false;
    for (char c : name)
        if (!((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_')) return false;
    return true;
}

}  // namespace

std::map<std::string, std::string> parseNulEnvironment(std::string_view bytes) {
    std::map<std::string, std::string> parsed;
    size_t start = 0;
    while (start < bytes.size()) {
        size_t end = bytes.find('\0', start);
        if (end == std::string_view::npos) end = bytes.size();
        std::string_view record = bytes.substr(start, end - start);
        start = end + 1;
        size_t equals = record.find('=');
        if (equals == std::string_view::npos) continue;
        std::string_view name = record.substr(0, equals);
        // A profile that prints to standard output leaves its text before the first record.
        if (size_t newline = name.rfind('\n'); newline != std::string_view::npos) name = name.substr(newline + 1);
        if (!isIdentifier(name)) continue;
        parsed[std::string(name)] = std::string(record.substr(equals + 1));
    }
    return parsed;
}

}  // namespace kelvor
