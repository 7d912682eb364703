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
    // A negative number is no pid: taken as one it would name a process group.
    if (parent < 0) return std::nullopt;
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

std::optional<std::string> mappedFileFromMapsLine(std::string_view line) {
    if (!line.empty() && line.back() == '\n') line.remove_suffix(1);
    // Five fields and their blanks come before the path, which begins with "/" when it is a file.
    size_t at = 0;
    for (int field = 0; field < 5; ++field) {
        at = line.find_first_not_of(' ', at);
        if (at == std::string_view::npos) return std::nullopt;
        at = line.find(' ', at);
        if (at == std::string_view::npos) return std::nullopt;
    }
    at = line.find_first_not_of(' ', at);
    if (at == std::string_view::npos) return std::nullopt;
    return openFileFromLink(line.substr(at));
}

bool procMountHidesOthers(std::string_view mountinfo) {
    // "id parent major:minor root mountpoint options [optional...] - fstype source superoptions";
    // hidepid is a per-mount option of procfs and shows among the super options.
    size_t start = 0;
    while (start < mountinfo.size()) {
        size_t end = mountinfo.find('\n', start);
        if (end == std::string_view::npos) end = mountinfo.size();
        std::string_view line = mountinfo.substr(start, end - start);
        start = end + 1;
        size_t separator = line.find(" - ");
        if (separator == std::string_view::npos) continue;
        std::string_view tail = line.substr(separator + 3);
        if (!tail.starts_with("proc ")) continue;
        size_t options = tail.rfind(' ');
        std::string_view list = tail.substr(options + 1);
        size_t from = 0;
        while (from <= list.size()) {
            size_t comma = list.find(',', from);
            if (comma == std::string_view::npos) comma = list.size();
            std::string_view option = list.substr(from, comma - from);
            from = comma + 1;
            if (!option.starts_with("hidepid=")) continue;
            std::string_view value = option.substr(8);
            if (value == "1" || value == "2" || value == "noaccess" || value == "invisible") return true;
        }
    }
    return false;
}

ExecutablePath executableFromLink(std::string_view target) {
    constexpr std::string_view DELETED = " (deleted)";
    if (target.ends_with(DELETED)) return {std::string(target.substr(0, target.size() - DELETED.size())), true};
    return {std::string(target), false};
}

}  // namespace kelvor
