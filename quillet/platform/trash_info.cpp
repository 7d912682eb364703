#include "quillet/platform/trash_info.hpp"

namespace kelvor {

namespace {

bool keptAsIs(unsigned char byte) {
    return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') || (byte >= '0' && byte <= '9') ||
           byte == '-' || byte == '.' || byte == '_' || byte == '~' || byte == '/';
}

int hexValue(char digit) {
    if (digit >= '0' && digit <= '9') return digit - '0';
    if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
    if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
    return -1;
}

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && (text.back() == '\r' || text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
    return text;
}

}  // namespace

std::string percentEncodePath(std::string_view path) {
    static constexpr char HEX[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(path.size());
    for (char c : path) {
        auto byte = static_cast<unsigned char>(c);
        if (keptAsIs(byte)) {
            out += c;
        } else {
            out += '%';
            out += HEX[byte >> 4];
            out += HEX[byte & 0xF];
        }
    }
    return out;
}

std::optional<std::string> percentDecodePath(std::string_view encoded) {
    std::string out;
    out.reserve(encoded.size());
    for (size_t i = 0; i < encoded.size(); ++i) {
        if (encoded[i] != '%') {
            out += encoded[i];
            continue;
        }
        if (i + 2 >= encoded.size()) return std::nullopt;
        int high = hexValue(encoded[i + 1]), low = hexValue(encoded[i + 2]);
        if (high < 0 || low < 0) return std::nullopt;
        out += static_cast<char>(high * 16 + low);
        i += 2;
    }
    // No file name holds a NUL: a system call would stop at it and reach another path.
    if (out.find('\0') != std::string::npos) return std::nullopt;
    return out;
}

std::string trashInfoText(std::string_view originalPath, std::string_view deletionDate) {
    return "[Trash Info]\nPath=" + percentEncodePath(originalPath) + "\nDeletionDate=" + std::string(deletionDate) +
           "\n";
}

std::optional<TrashInfo> parseTrashInfo(std::string_view text) {
    bool inGroup = false, sawGroup = false;
    std::optional<std::string> path;
    TrashInfo info;
    while (!text.empty()) {
        size_t end = text.find('\n');
        std::string_view line = trimmed(text.substr(0, end));
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
        if (line.empty() || line.front() == '#') continue;
        if (line.front() == '[') {
            inGroup = line == "[Trash Info]";
            sawGroup = sawGroup || inGroup;
            continue;
        }
        if (!inGroup) continue;
        size_t equals = line.find('=');
        if (equals == std::string_view::npos) continue;
        std::string_view key = trimmed(line.substr(0, equals)), value = trimmed(line.substr(equals + 1));
        // The first occurrence of a key counts, as in trash-cli and GLib.
        if (key == "Path" && !path) {
            path = percentDecodePath(value);
            if (!path || path->empty()) return std::nullopt;
        } else if (key == "DeletionDate" && info.deletionDate.empty()) {
            info.deletionDate = std::string(value);
        }
    }
    if (!sawGroup || !path) return std::nullopt;
    info.path = std::move(*path);
    return info;
}

std::string withoutDataVolumePrefix(std::string_view path) {
    constexpr std::string_view PREFIX = "/System/Volumes/Data/";
    if (path.starts_with(PREFIX)) return std::string(path.substr(PREFIX.size() - 1));
    return std::string(path);
}

}  // namespace kelvor
