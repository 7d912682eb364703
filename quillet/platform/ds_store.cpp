#include "quillet/platform/ds_store.hpp"

#include <cstdint>
#include <fstream>
#include <optional>
#include <set>
#include <vector>

namespace kelvor {

namespace {

// The file is read whole once; no real Trash's .DS_Store comes near this.
constexpr std::streamsize MAX_FILE = 64 * 1024 * 1024;

// The Finder nests at most a few levels; anything deeper is a loop or an attack.
constexpr int MAX_DEPTH = 64;

enum class Walk { going, ended, broken };

class Reader {
public:
    explicit Reader(std::string_view bytes) : bytes_(bytes) {}

    // A big-endian 32-bit value at file position `at`.
    std::optional<std::uint32_t> u32(std::uint64_t at) const {
        if (at + 4 > bytes_.size()) return std::nullopt;
        auto b = [&](std::uint64_t i) { return static_cast<std::uint32_t>(static_cast<unsigned char>(bytes_[at + i])); };
        return (b(0) << 24) | (b(1) << 16) | (b(2) << 8) | b(3);
    }
    bool has(std::uint64_t at, std::uint64_t length) const { return at <= bytes_.size() && length <= bytes_.size() - at; }
    std::string_view slice(std::uint64_t at, std::uint64_t length) const { return bytes_.substr(at, length); }
    std::size_t size() const { return bytes_.size(); }

private:
    std::string_view bytes_;
};

void appendUtf8(std::string& out, std::uint32_t code) {
    if (code < 0x80) {
        out += static_cast<char>(code);
    } else if (code < 0x800) {
        out += static_cast<char>(0xC0 | (code >> 6));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        out += static_cast<char>(0xE0 | (code >> 12));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (code >> 18));
        out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    }
}

// UTF-16 big-endian to UTF-8; a lone surrogate becomes U+FFFD.
std::string utf16ToUtf8(std::string_view units) {
    std::string out;
    auto unit = [&](std::size_t i) {
        return static_cast<std::uint32_t>((static_cast<unsigned char>(units[2 * i]) << 8) |
                                          static_cast<unsigned char>(units[2 * i + 1]));
    };
    std::size_t count = units.size() / 2;
    for (std::size_t i = 0; i < count; ++i) {
        std::uint32_t code = unit(i);
        if (code >= 0xD800 && code <= 0xDBFF && i + 1 < count && unit(i + 1) >= 0xDC00 && unit(i + 1) <= 0xDFFF) {
            code = 0x10000 + ((code - 0xD800) << 10) + (unit(i + 1) - 0xDC00);
            ++i;
        } else if (code >= 0xD800 && code <= 0xDFFF) {
            code = 0xFFFD;
        }
        appendUtf8(out, code);
    }
    return out;
}

class TreeWalk {
public:
    TreeWalk(const Reader& file, const std::vector<std::uint32_t>& addresses) : file_(file), addresses_(addresses) {}

    // Walks node `node` in order; records land in `found`.
    Walk node(std::uint32_t number, int depth, std::map<std::string, PutBackInfo>& found) {
        if (depth > MAX_DEPTH || number >= addresses_.size() || !visited_.insert(number).second) return Walk::broken;
        std::uint64_t at = blockStart(number);
        std::optional<std::uint32_t> rightmost = file_.u32(at), count = file_.u32(at + 4);
        if (!rightmost || !count) return Walk::broken;
        at += 8;
        for (std::uint32_t i = 0; i < *count; ++i) {
            if (*rightmost != 0) {
                std::optional<std::uint32_t> child = file_.u32(at);
                if (!child) return Walk::broken;
                at += 4;
                if (Walk walk = node(*child, depth + 1, found); walk != Walk::going) return walk;
            }
            if (Walk walk = record(at, found); walk != Walk::going) return walk;
        }
        if (*rightmost != 0) return node(*rightmost, depth + 1, found);
        return Walk::going;
    }

    std::uint64_t blockStart(std::uint32_t number) const { return 4 + (addresses_[number] & ~0x1Fu); }

private:
    // One record at `at`, which moves past it.
    Walk record(std::uint64_t& at, std::map<std::string, PutBackInfo>& found) {
        std::optional<std::uint32_t> nameLength = file_.u32(at);
        if (!nameLength || !file_.has(at + 4, 2ULL * *nameLength)) return Walk::broken;
        std::string name = utf16ToUtf8(file_.slice(at + 4, 2ULL * *nameLength));
        at += 4 + 2ULL * *nameLength;
        if (!file_.has(at, 8)) return Walk::broken;
        std::string_view code = file_.slice(at, 4), type = file_.slice(at + 4, 4);
        at += 8;
        std::uint64_t valueLength = 0;
        if (type == "long" || type == "shor" || type == "type") {
            valueLength = 4;
        } else if (type == "bool") {
            valueLength = 1;
        } else if (type == "comp" || type == "dutc") {
            valueLength = 8;
        } else if (type == "blob" || type == "ustr") {
            std::optional<std::uint32_t> length = file_.u32(at);
            if (!length) return Walk::broken;
            at += 4;
            valueLength = type == "ustr" ? 2ULL * *length : *length;
        } else {
            return Walk::ended;
        }
        if (!file_.has(at, valueLength)) return Walk::broken;
        if (type == "ustr" && (code == "ptbL" || code == "ptbN")) {
            std::string value = utf16ToUtf8(file_.slice(at, valueLength));
            (code == "ptbL" ? found[name].folder : found[name].name) = std::move(value);
        }
        at += valueLength;
        return Walk::going;
    }

    const Reader& file_;
    const std::vector<std::uint32_t>& addresses_;
    std::set<std::uint32_t> visited_;
};

}  // namespace

std::string PutBackInfo::originalPath() const {
    if (folder.empty() || name.empty()) return "";
    std::string path = folder.front() == '/' ? folder : "/" + folder;
    if (path.back() != '/') path += '/';
    return path + name;
}

std::map<std::string, PutBackInfo> DSStorePutBack::parse(std::string_view bytes) {
    Reader file(bytes);
    if (file.size() < 37 || bytes.substr(4, 4) != "Bud1") return {};
    std::optional<std::uint32_t> rootOffset = file.u32(8), rootSize = file.u32(12);
    if (!rootOffset || !rootSize || std::uint64_t{*rootOffset} + *rootSize + 4 > file.size()) return {};

    std::uint64_t at = 4 + std::uint64_t{*rootOffset};
    std::optional<std::uint32_t> blockCount = file.u32(at);
    if (!blockCount || *blockCount >= DS_STORE_MAX_BLOCKS) return {};
    at += 8;
    if (!file.has(at, 4ULL * *blockCount)) return {};
    std::vector<std::uint32_t> addresses;
    addresses.reserve(*blockCount);
    for (std::uint32_t i = 0; i < *blockCount; ++i) addresses.push_back(*file.u32(at + 4ULL * i));
    for (std::uint32_t address : addresses) {
        std::uint32_t sizeLog = address & 0x1F;
        if (!file.has(4 + std::uint64_t{address & ~0x1Fu}, std::uint64_t{1} << sizeLog)) return {};
    }
    // The table is padded to whole 256-entry pages.
    at += (4ULL * *blockCount + 1023) / 1024 * 1024;

    std::optional<std::uint32_t> directoryCount = file.u32(at);
    if (!directoryCount || *directoryCount >= DS_STORE_MAX_DIRECTORY_ENTRIES) return {};
    at += 4;
    std::optional<std::uint32_t> treeHeader;
    for (std::uint32_t i = 0; i < *directoryCount; ++i) {
        if (!file.has(at, 1)) return {};
        std::uint64_t nameLength = static_cast<unsigned char>(bytes[at]);
        if (!file.has(at + 1, nameLength + 4)) return {};
        std::string_view name = bytes.substr(at + 1, nameLength);
        std::uint32_t block = *file.u32(at + 1 + nameLength);
        if (name == "DSDB") treeHeader = block;
        at += 1 + nameLength + 4;
    }
    if (!treeHeader || *treeHeader >= addresses.size()) return {};

    TreeWalk walk(file, addresses);
    std::optional<std::uint32_t> rootNode = file.u32(walk.blockStart(*treeHeader));
    if (!rootNode) return {};
    std::map<std::string, PutBackInfo> found;
    if (walk.node(*rootNode, 0, found) == Walk::broken) return {};
    return found;
}

std::map<std::string, PutBackInfo> DSStorePutBack::read(const std::string& trashFolder) {
    std::ifstream in(trashFolder + "/.DS_Store", std::ios::binary);
    if (!in) return {};
    std::string bytes;
    char buffer[65536];
    while (in.read(buffer, sizeof buffer) || in.gcount() > 0) {
        bytes.append(buffer, static_cast<std::size_t>(in.gcount()));
        if (static_cast<std::streamsize>(bytes.size()) > MAX_FILE) return {};
    }
    return parse(bytes);
}

}  // namespace kelvor
