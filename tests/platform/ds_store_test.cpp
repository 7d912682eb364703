#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "quillet/platform/ds_store.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

// Builds ".DS_Store" files the way the Finder lays them out: a 36-byte header, then blocks at
// offsets counted from byte 4, each 2048 bytes (address low bits 11).
class DSStoreBuilder {
public:
    struct Record {
        std::u16string name;
        std::string code;
        std::string type;
        std::string value;  // the encoded value, length prefix included where the type has one
    };

    static std::string u32(std::uint32_t value) {
        return {static_cast<char>(value >> 24), static_cast<char>(value >> 16), static_cast<char>(value >> 8),
                static_cast<char>(value)};
    }
    static std::string utf16(const std::u16string& text) {
        std::string out;
        for (char16_t unit : text) out += {static_cast<char>(unit >> 8), static_cast<char>(unit & 0xFF)};
        return out;
    }
    static Record ustr(const std::u16string& name, const std::string& code, const std::u16string& value) {
        return {name, code, "ustr", u32(static_cast<std::uint32_t>(value.size())) + utf16(value)};
    }
    static std::string encode(const Record& record) {
        return u32(static_cast<std::uint32_t>(record.name.size())) + utf16(record.name) + record.code + record.type +
               record.value;
    }
    static std::string leaf(const std::vector<Record>& records) {
        std::string node = u32(0) + u32(static_cast<std::uint32_t>(records.size()));
        for (const Record& record : records) node += encode(record);
        return node;
    }
    // An internal node: children[i] comes before records[i]; `rightmost` after the last.
    static std::string internal(const std::vector<std::uint32_t>& children, const std::vector<Record>& records,
                                std::uint32_t rightmost) {
        std::string node = u32(rightmost) + u32(static_cast<std::uint32_t>(records.size()));
        for (std::size_t i = 0; i < records.size(); ++i) node += u32(children[i]) + encode(records[i]);
        return node;
    }

    // Block 0 is the allocator's root, block 1 the tree header naming `rootNode`; `nodes` follow
    // as blocks 2, 3, ….
    static std::string file(const std::vector<std::string>& nodes, std::uint32_t rootNode = 2,
                            std::uint32_t dsdbBlock = 1) {
        constexpr std::uint32_t BLOCK = 2048;
        std::uint32_t count = static_cast<std::uint32_t>(nodes.size() + 2);
        std::vector<std::string> blocks(count);
        std::string root = u32(count) + u32(0);
        for (std::uint32_t i = 0; i < count; ++i) root += u32((i + 1) * BLOCK | 11);
        root.resize(8 + (4 * count + 1023) / 1024 * 1024, '\0');
        root += u32(1) + std::string(1, 4) + "DSDB" + u32(dsdbBlock);
        blocks[0] = root;
        blocks[1] = u32(rootNode) + u32(0) + u32(0) + u32(0) + u32(BLOCK);
        for (std::size_t i = 0; i < nodes.size(); ++i) blocks[i + 2] = nodes[i];
        std::string bytes = u32(1) + "Bud1" + u32(BLOCK) + u32(BLOCK) + u32(BLOCK) + std::string(16, '\0');
        bytes.resize(4 + (count + 1) * BLOCK, '\0');
        for (std::uint32_t i = 0; i < count; ++i) {
            EXPECT_LE(blocks[i].size(), BLOCK);
            bytes.replace(4 + (i + 1) * BLOCK, blocks[i].size(), blocks[i]);
        }
        return bytes;
    }
};

using B = DSStoreBuilder;

std::vector<B::Record> putBack(const std::u16string& entry, const std::u16string& folder, const std::u16string& name) {
    return {B::ustr(entry, "ptbL", folder), B::ustr(entry, "ptbN", name)};
}

TEST(DSStore, ReadsThePutBackRecordsOfALeaf) {
    std::vector<B::Record> records = putBack(u"report.pdf", u"Users/ada/Documents/", u"report.pdf");
    records.push_back({u"report.pdf", "Iloc", "blob", B::u32(3) + "abc"});
    records.push_back({u"report.pdf", "lg1S", "comp", std::string(8, '\x01')});
    records.push_back({u"report.pdf", "ICVO", "bool", "\x01"});
    records.push_back({u"report.pdf", "vSrn", "long", B::u32(1)});
    records.push_back({u"report.pdf", "moDD", "dutc", std::string(8, '\x02')});
    records.push_back({u"report.pdf", "vstl", "type", "icnv"});
    records.push_back({u"report.pdf", "fwvh", "shor", B::u32(5)});
    for (B::Record& record : putBack(u"한글 2.txt", u"Users/ada/사진", u"한글.txt")) records.push_back(record);
    records.push_back(B::ustr(u"emoji", "ptbN", u"\U0001F600.txt"));
    auto found = DSStorePutBack::parse(B::file({B::leaf(records)}));
    ASSERT_EQ(found.size(), 3u);
    EXPECT_EQ(found["report.pdf"].originalPath(), "/Users/ada/Documents/report.pdf");
    EXPECT_EQ(found["한글 2.txt"].originalPath(), "/Users/ada/사진/한글.txt");
    EXPECT_EQ(found["emoji"].name, "😀.txt");
    EXPECT_EQ(found["emoji"].originalPath(), "") << "no folder recorded";
}

TEST(DSStore, WalksInternalNodesInOrder) {
    std::vector<B::Record> left = putBack(u"a", u"Users/ada/", u"a");
    std::vector<B::Record> right = putBack(u"c", u"Users/ada/", u"c");
    std::vector<B::Record> middle = {B::ustr(u"b", "ptbL", u"Users/ada/")};
    // Block 2 is the root (children 3, then rightmost 4).
    std::string bytes = B::file({B::internal({3}, middle, 4), B::leaf(left), B::leaf(right)});
    auto found = DSStorePutBack::parse(bytes);
    ASSERT_EQ(found.size(), 3u);
    EXPECT_EQ(found["a"].originalPath(), "/Users/ada/a");
    EXPECT_EQ(found["b"].folder, "Users/ada/");
    EXPECT_EQ(found["c"].originalPath(), "/Users/ada/c");
}

TEST(DSStore, AnUnknownTypeEndsTheWalkKeepingWhatCameBefore) {
    std::vector<B::Record> records = putBack(u"first", u"Users/ada/", u"first");
    records.push_back({u"first", "zzzz", "what", "????"});
    for (B::Record& record : putBack(u"second", u"Users/ada/", u"second")) records.push_back(record);
    auto found = DSStorePutBack::parse(B::file({B::leaf(records)}));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_TRUE(found.contains("first"));
}

TEST(DSStore, DamagedAndHostileFilesGiveNothing) {
    std::string good = B::file({B::leaf(putBack(u"x", u"Users/ada/", u"x"))});
    ASSERT_EQ(DSStorePutBack::parse(good).size(), 1u);
    auto patched = [&](std::size_t at, const std::string& bytes) {
        std::string copy = good;
        copy.replace(at, bytes.size(), bytes);
        return copy;
    };
    constexpr std::size_t ROOT = 4 + 2048, HEADER = 4 + 2 * 2048, LEAF = 4 + 3 * 2048;
    struct Case {
        const char* what;
        std::string bytes;
    };
    const Case cases[] = {
        {"empty", ""},
        {"too short", good.substr(0, 36)},
        {"wrong magic", patched(4, "Bud2")},
        {"root block past the end", patched(8, B::u32(0x7FFFFFF0))},
        {"root block size past the end", patched(12, B::u32(0xFFFFFFF0))},
        {"100,000 blocks", patched(ROOT, B::u32(100000))},
        {"99,999 blocks, beyond the file", patched(ROOT, B::u32(99999))},
        {"a block address past the end", patched(ROOT + 8 + 4 * 2, B::u32(0x7FFF0000 | 11))},
        {"a block size past the end", patched(ROOT + 8 + 4 * 2, B::u32(3 * 2048 | 30))},
        {"1,000 directory entries", patched(ROOT + 8 + 1024, B::u32(1000))},
        {"no DSDB entry", patched(ROOT + 8 + 1024 + 5, "XXXX")},
        {"DSDB names a block outside the table", patched(ROOT + 8 + 1024 + 9, B::u32(99))},
        {"root node outside the table", patched(HEADER, B::u32(4))},
        {"name length past the end", patched(LEAF + 8, B::u32(0x40000000))},
        {"value length past the end", patched(LEAF + 8 + 4 + 2 + 8, B::u32(0x7FFFFFFF))},
        {"child outside the table", B::file({B::internal({77}, {B::ustr(u"b", "ptbL", u"x")}, 3), B::leaf({})})},
        {"a node that is its own child", B::file({B::internal({2}, {B::ustr(u"b", "ptbL", u"x")}, 3), B::leaf({})})},
        {"a cycle through the rightmost child", B::file({B::internal({3}, {B::ustr(u"b", "ptbL", u"x")}, 2), B::leaf({})})},
        {"a truncated file", good.substr(0, LEAF + 20)},
    };
    for (const Case& c : cases) EXPECT_TRUE(DSStorePutBack::parse(c.bytes).empty()) << c.what;
}

TEST(DSStore, ReadTakesTheFileAtTheTopOfTheTrashFolder) {
    testing::TempHome home;
    EXPECT_TRUE(DSStorePutBack::read(home / ".Trash").empty()) << "a missing file is no error";
    testing::writeFile(home / ".Trash/.DS_Store", B::file({B::leaf(putBack(u"x", u"Users/ada/", u"x"))}));
    auto found = DSStorePutBack::read(home / ".Trash");
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found["x"].originalPath(), "/Users/ada/x");
}

}  // namespace
}  // namespace kelvor
