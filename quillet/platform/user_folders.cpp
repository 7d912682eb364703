#include "quillet/platform/user_folders.hpp"

#include <array>
#include <optional>

namespace kelvor {

namespace {

struct UserDirKey {
    std::string_view key;
    std::string_view fallback;
};

// The keys xdg-user-dirs writes, with the folder each one names when the file does not say.
constexpr std::array<UserDirKey, 8> USER_DIR_KEYS{{
    {"XDG_DESKTOP_DIR", "Desktop"},
    {"XDG_DOCUMENTS_DIR", "Documents"},
    {"XDG_DOWNLOAD_DIR", "Downloads"},
    {"XDG_MUSIC_DIR", "Music"},
    {"XDG_PICTURES_DIR", "Pictures"},
    {"XDG_PUBLICSHARE_DIR", "Public"},
    {"XDG_TEMPLATES_DIR", "Templates"},
    {"XDG_VIDEOS_DIR", "Videos"},
}};

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r')) text.remove_suffix(1);
    return text;
}

// The value as the shell would read it: quotes removed, backslash escapes taken literally.
std::string unquoted(std::string_view value) {
    std::string out;
    char quote = 0;
    for (size_t i = 0; i < value.size(); ++i) {
        char c = value[i];
        if (quote == 0 && (c == '"' || c == '\'')) quote = c;
        else if (c == quote) quote = 0;
        else if (c == '\\' && quote != '\'' && i + 1 < value.size()) out += value[++i];
        else out += c;
    }
    return out;
}

// Strips trailing slashes and "." parts; none for a path that climbs with "..".
std::optional<std::string> cleanPath(const std::string& path) {
    std::string out;
    size_t start = 0;
    while (start < path.size()) {
        size_t end = path.find('/', start);
        if (end == std::string::npos) end = path.size();
        std::string_view part(path.data() + start, end - start);
        if (part == "..") return std::nullopt;
        if (!part.empty() && part != ".") {
            out += '/';
            out += part;
        }
        start = end + 1;
    }
    return out.empty() ? "/" : out;
}

// The absolute folder a value names, or none for "$HOME" itself, a relative value or nonsense.
std::optional<std::string> folderOf(const std::string& value, const std::string& home) {
    std::string path;
    if (value == "$HOME" || value == "$HOME/") return std::nullopt;
    if (value.starts_with("$HOME/")) path = home + value.substr(5);
    else if (value.starts_with("/")) path = value;
    else return std::nullopt;
    std::optional<std::string> clean = cleanPath(path);
    std::optional<std::string> cleanHome = cleanPath(home);
    if (!clean || (cleanHome && *clean == *cleanHome)) return std::nullopt;
    return clean;
}

}  // namespace

std::vector<std::string> parseUserDirs(std::string_view text, const std::string& home) {
    std::array<std::optional<std::optional<std::string>>, USER_DIR_KEYS.size()> found;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string_view::npos) end = text.size();
        std::string_view line = trimmed(text.substr(start, end - start));
        start = end + 1;
        if (line.empty() || line.front() == '#') continue;
        size_t equals = line.find('=');
        if (equals == std::string_view::npos) continue;
        std::string_view key = trimmed(line.substr(0, equals));
        for (size_t i = 0; i < USER_DIR_KEYS.size(); ++i)
            if (USER_DIR_KEYS[i].key == key) found[i] = folderOf(unquoted(trimmed(line.substr(equals + 1))), home);
    }
    std::vector<std::string> folders;
    for (size_t i = 0; i < USER_DIR_KEYS.size(); ++i) {
        std::optional<std::string> folder =
            found[i] ? *found[i] : folderOf("$HOME/" + std::string(USER_DIR_KEYS[i].fallback), home);
        if (folder) folders.push_back(*folder);
    }
    return folders;
}

}  // namespace kelvor
