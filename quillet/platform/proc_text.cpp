#include "quillet/platform/proc_text.hpp"

#include <charconv>

namespace kelvor {

std::optional<std::int32_t> parentPidFromStat(std::string_view stat) {
    size_t close = stat.rfind(')');
    if (close == std::string_view::npos || stat.find('(') > close) return std::nullopt;
    // After the name: " <state> <ppid> ...".
    std::string_view rest = stat.substr(close + 1);
    size_t state = rest.find_first_not_of(' ');
    if (state == std::string_view::npos) return std::nullopt;
    size_t gap = rest.find(' ', state);
    if (gap == std::string_view::npos) return std::nullopt;
    size_t number = rest.find_first_not_of(' ', gap);
    if (number == std::string_view::npos) return std::nullopt;
    std::int32_t parent = 0;
    const char* first = rest.data() + number;
    const char* last = rest.data() + rest.size();
    auto [end, failure] = std::from_chars(first, last, parent);
    if (failure != std::errc() || (end != last && *end != ' ')) return std::nullopt;
    return parent;
}

std::string argsFromCmdline(std::string_view cmdline) {
    if (!cmdline.empty() && cmdline.back() == '\0') cmdline.remove_suffix(1);
    std::string args(cmdline);
    for (char& c : args)
        if (c == '\0') c = ' ';
    return args;
}

std::optional<std::string> openFileFromLink(std::string_view target) {
    if (!target.starts_with('/')) return std::nullopt;
    return executableFromLink(target).path;
}

ExecutablePath executableFromLink(std::string_view target) {
    constexpr std::string_view DELETED = " (deleted)";
    if (target.ends_with(DELETED)) return {std::string(target.substr(0, target.size() - DELETED.size())), true};
    return {std::string(target), false};
}

}  // namespace kelvor
