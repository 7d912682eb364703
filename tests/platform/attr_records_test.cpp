#include "quillet/platform/attr_records.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace kelvor {
namespace {

// Builds records the way the bulk attribute call lays them out: length, five returned masks, then
// each returned attribute in order, with the name's bytes after the fixed fields.
struct RecordSpec {
    std::string name = "file.bin";
    std::uint32_t objType = VREG;
    std::int64_t mtime = 1700000000;
    std::uint64_t fileID = 42;
    std::uint32_t linkCount = 1;
    std::int64_t allocSize = 8192;
    std::optional<std::uint32_t> error = std::nullopt;       // returned only when set
    bool withName = true;
    std::optional<std::int32_t> nameOffset = std::nullopt;    // overrides the true offset
    std::optional<std::uint32_t> nameLength = std::nullopt;   // overrides the true length (name + NUL)
    std::optional<std::uint32_t> lengthField = std::nullopt;  // overrides the record length
    std::optional<std::size_t> truncateTo = std::nullopt;     // cuts the record's bytes
};

template <typename T>
void put(std::vector<std::byte>& out, T value) {
    // Grown, then copied into: g++ 12 at -O3 misreads a range insert into an empty vector as an
    // overflow (a false -Wstringop-overflow).
    out.resize(out.size() + sizeof(T));
    std::memcpy(out.data() + out.size() - sizeof(T), &value, sizeof(T));
}

std::vector<std::byte> record(const RecordSpec& spec) {
    std::vector<std::byte> out;
    std::uint32_t common = ATTR_CMN_RETURNED_ATTRS | ATTR_CMN_OBJTYPE | ATTR_CMN_MODTIME | ATTR_CMN_FILEID;
    if (spec.withName) common |= ATTR_CMN_NAME;
    if (spec.error) common |= ATTR_CMN_ERROR;
    const std::uint32_t file = spec.objType == VREG ? BULK_FILE_ATTRS : 0;
    put<std::uint32_t>(out, 0);  // length, patched below
    for (std::uint32_t mask : {common, 0u, 0u, file, 0u}) put(out, mask);
    if (spec.error) put(out, *spec.error);
    std::size_t referenceAt = out.size();
    if (spec.withName) {
        put<std::int32_t>(out, 0);
        put<std::uint32_t>(out, 0);
    }
    put(out, spec.objType);
    put<std::int64_t>(out, spec.mtime);
    put<std::int64_t>(out, 0);  // nanoseconds
    put(out, spec.fileID);
    if (file) {
        put(out, spec.linkCount);
        put(out, spec.allocSize);
    }
    if (spec.withName) {
        std::int32_t offset = static_cast<std::int32_t>(out.size() - referenceAt);
        std::uint32_t length = static_cast<std::uint32_t>(spec.name.size() + 1);
        for (char c : spec.name) out.push_back(static_cast<std::byte>(c));
        out.push_back(std::byte{0});
        offset = spec.nameOffset.value_or(offset);
        length = spec.nameLength.value_or(length);
        std::memcpy(out.data() + referenceAt, &offset, 4);
        std::memcpy(out.data() + referenceAt + 4, &length, 4);
    }
    while (out.size() % 8) out.push_back(std::byte{0});
    std::uint32_t length = spec.lengthField.value_or(static_cast<std::uint32_t>(out.size()));
    std::memcpy(out.data(), &length, 4);
    if (spec.truncateTo) out.resize(*spec.truncateTo);
    return out;
}

struct Decoded {
    bool complete = false;
    std::uint64_t errors = 0;
    std::vector<BulkEntry> entries;
};

Decoded decode(const std::vector<RecordSpec>& specs, std::optional<std::uint32_t> count = std::nullopt) {
    std::vector<std::byte> buffer;
    for (const RecordSpec& spec : specs) {
        std::vector<std::byte> one = record(spec);
        buffer.insert(buffer.end(), one.begin(), one.end());
    }
    Decoded decoded;
    decoded.complete = decodeAttrRecords(buffer, count.value_or(static_cast<std::uint32_t>(specs.size())),
                                         decoded.errors, [&](const BulkEntry& entry) { decoded.entries.push_back(entry); });
    return decoded;
}

TEST(AttrRecords, GoodRecordsGiveEveryField) {
    RecordSpec file;
    RecordSpec folder{.name = "Library", .objType = VDIR, .mtime = 1600000000, .fileID = 7};
    RecordSpec link{.name = "shortcut", .objType = VLNK, .fileID = 9};
    RecordSpec sparse{.name = "odd", .allocSize = -4096};
    Decoded decoded = decode({file, folder, link, sparse});
    EXPECT_TRUE(decoded.complete);
    EXPECT_EQ(decoded.errors, 0u);
    ASSERT_EQ(decoded.entries.size(), 4u);
    const BulkEntry& first = decoded.entries[0];
    EXPECT_EQ(first.name, "file.bin");
    EXPECT_EQ(first.objType, VREG);
    EXPECT_EQ(first.mtime, 1700000000);
    EXPECT_EQ(first.fileID, 42u);
    EXPECT_EQ(first.linkCount, 1u);
    EXPECT_EQ(first.allocSize, 8192u);
    EXPECT_EQ(decoded.entries[1].name, "Library");
    EXPECT_EQ(decoded.entries[1].objType, VDIR);
    EXPECT_EQ(decoded.entries[1].allocSize, 0u) << "a folder has no file attributes";
    EXPECT_EQ(decoded.entries[2].objType, VLNK);
    EXPECT_EQ(decoded.entries[3].allocSize, 0u) << "a negative allocated size reads as 0";
}

TEST(AttrRecords, AnErrorCodeSkipsItsRecordOnly) {
    Decoded decoded = decode({RecordSpec{.name = "a"}, RecordSpec{.name = "bad", .error = 13u}, RecordSpec{.name = "c"}});
    EXPECT_TRUE(decoded.complete);
    EXPECT_EQ(decoded.errors, 1u);
    ASSERT_EQ(decoded.entries.size(), 2u);
    EXPECT_EQ(decoded.entries[0].name, "a");
    EXPECT_EQ(decoded.entries[1].name, "c");
    Decoded zero = decode({RecordSpec{.name = "fine", .error = 0u}});
    EXPECT_EQ(zero.errors, 0u) << "a returned error code of 0 is no error";
    ASSERT_EQ(zero.entries.size(), 1u);
    EXPECT_EQ(zero.entries[0].allocSize, 8192u) << "the fields after the error code are still found";
}

TEST(AttrRecords, NamesAreTakenOnlyWhenWhollyInsideTheirRecord) {
    struct Case {
        const char* input;
        RecordSpec spec;
        std::string expected;  // "" = skipped
    };
    const Case cases[] = {
        {"plain", RecordSpec{.name = "notes.txt"}, "notes.txt"},
        {"empty name", RecordSpec{.name = ""}, ""},
        {"no name returned", RecordSpec{.withName = false}, ""},
        {"length 1 (just the NUL)", RecordSpec{.name = "x", .nameLength = 1u}, ""},
        {"negative offset", RecordSpec{.name = "x", .nameOffset = -8}, ""},
        {"offset past the record", RecordSpec{.name = "x", .nameOffset = 4096}, ""},
        {"length past the record", RecordSpec{.name = "x", .nameLength = 4096u}, ""},
        {"invalid UTF-8", RecordSpec{.name = "caf\xE9-\xFF.bin"}, "caf\xEF\xBF\xBD-\xEF\xBF\xBD.bin"},
        {"truncated sequence", RecordSpec{.name = "\xE2\x82"}, "\xEF\xBF\xBD\xEF\xBF\xBD"},
        {"valid multibyte", RecordSpec{.name = "모델 €"}, "모델 €"},
        {"overlong encoding", RecordSpec{.name = "\xC0\xAF"}, "\xEF\xBF\xBD\xEF\xBF\xBD"},
    };
    for (const Case& c : cases) {
        Decoded decoded = decode({c.spec, RecordSpec{.name = "next"}});
        EXPECT_TRUE(decoded.complete) << c.input;
        EXPECT_EQ(decoded.errors, 0u) << c.input;
        std::vector<std::string> names;
        for (const BulkEntry& entry : decoded.entries) names.push_back(entry.name);
        std::vector<std::string> expected;
        if (!c.expected.empty()) expected.push_back(c.expected);
        expected.push_back("next");
        EXPECT_EQ(names, expected) << c.input;
    }
}

TEST(AttrRecords, AMalformedRecordAbandonsTheRest) {
    struct Case {
        const char* input;
        RecordSpec spec;
    };
    const Case cases[] = {
        {"length below 24", RecordSpec{.lengthField = 20u}},
        {"length 0", RecordSpec{.lengthField = 0u}},
        {"length past the buffer", RecordSpec{.lengthField = 100000u}},
        {"error record shorter than 28", RecordSpec{.error = 0u, .lengthField = 24u, .truncateTo = 24u}},
        {"fields cut by the length", RecordSpec{.lengthField = 40u, .truncateTo = 40u}},
    };
    for (const Case& c : cases) {
        Decoded decoded = decode({RecordSpec{.name = "before"}, c.spec, RecordSpec{.name = "after"}});
        EXPECT_FALSE(decoded.complete) << c.input;
        EXPECT_EQ(decoded.errors, 1u) << c.input;
        ASSERT_EQ(decoded.entries.size(), 1u) << c.input;
        EXPECT_EQ(decoded.entries[0].name, "before") << c.input;
    }
}

TEST(AttrRecords, MoreRecordsPromisedThanTheBufferHoldsIsMalformed) {
    Decoded decoded = decode({RecordSpec{.name = "only"}}, 2u);
    EXPECT_FALSE(decoded.complete);
    EXPECT_EQ(decoded.errors, 1u);
    EXPECT_EQ(decoded.entries.size(), 1u);
}

}  // namespace
}  // namespace kelvor
