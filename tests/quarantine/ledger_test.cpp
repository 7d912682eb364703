#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "quillet/quarantine/ledger.hpp"

namespace kelvor {
namespace {

QuarantineEntry fullEntry() {
    QuarantineEntry entry;
    entry.originalPath = "/home/ada/.cache/pip";
    entry.quarantinePath = "/home/ada/.kelvor/quarantine/0a1b2c3d-pip";
    entry.owner = "pip";
    entry.component = "Wheel cache";
    entry.bytes = 18446744073709551615ULL;
    entry.when = "2026-11-01T10:00:00Z";
    entry.released = true;
    entry.releasedTo = "/home/ada/.local/share/Trash/files/pip";
    entry.releasedAt = "2026-11-08T10:00:00Z";
    entry.restored = false;
    entry.settled = true;
    entry.recreated = true;
    entry.pending = false;
    entry.discardedAt = "2026-11-09T10:00:00Z";
    entry.restoredTo = "/home/ada/.cache/pip (restored)";
    return entry;
}

TEST(Ledger, ObservationDaysComeFromTheStoredValueWithinRange) {
    struct Case {
        std::optional<std::int64_t> stored;
        int days;
    };
    const Case cases[] = {{0, 7}, {1, 1}, {30, 30}, {31, 7}, {-3, 7}, {std::nullopt, 7}, {14, 14}};
    for (const Case& c : cases)
        EXPECT_EQ(quarantineDaysFrom(c.stored), c.days) << (c.stored ? std::to_string(*c.stored) : "none");
}

TEST(Ledger, AFullRowWritesEveryKeyInOrderOnOneLineAndReadsBack) {
    QuarantineEntry entry = fullEntry();
    std::string line = ledgerLine(entry);
    EXPECT_EQ(line.find('\n'), std::string::npos);
    size_t previous = 0;
    for (std::string_view key : QUARANTINE_FIELDS) {
        size_t at = line.find("\"" + std::string(key) + "\":");
        ASSERT_NE(at, std::string::npos) << key;
        EXPECT_GE(at, previous) << key << " is out of order in " << line;
        previous = at;
    }
    EXPECT_EQ(line.find("rawLine"), std::string::npos);

    LedgerContents read = ledgerLines(line + "\n");
    ASSERT_EQ(read.entries.size(), 1u);
    const QuarantineEntry& back = read.entries[0];
    EXPECT_EQ(back.rawLine, line);
    EXPECT_EQ(ledgerLine(back), line);
    EXPECT_EQ(back.bytes, entry.bytes);
    EXPECT_EQ(back.restoredTo, entry.restoredTo);
    EXPECT_EQ(back.recreated, true);
    EXPECT_EQ(back.pending, false);
}

TEST(Ledger, UnsetOptionalKeysAreLeftOut) {
    QuarantineEntry entry;
    entry.originalPath = "/a";
    entry.quarantinePath = "/q/a";
    nlohmann::json row = nlohmann::json::parse(ledgerLine(entry));
    for (const char* key : {"releasedTo", "releasedAt", "settled", "recreated", "pending", "discardedAt", "restoredTo"})
        EXPECT_FALSE(row.contains(key)) << key;
    for (const char* key : {"released", "restored", "bytes", "when", "owner", "component"})
        EXPECT_TRUE(row.contains(key)) << key;
}

TEST(Ledger, LinesThatAreNoRowAreKeptAsTheyStand) {
    std::string good = ledgerLine(fullEntry());
    std::string text = "not json at all\n" + good + "\n\n   \n[1,2,3]\n{\"owner\":\"pip\"}\n{\"originalPath\":\"/a\",\"quarantinePath\":7}\n{truncated";
    LedgerContents read = ledgerLines(text);
    ASSERT_EQ(read.entries.size(), 1u);
    EXPECT_EQ(read.entries[0].rawLine, good);
    std::vector<std::string> expected = {"not json at all", "[1,2,3]", "{\"owner\":\"pip\"}",
                                         "{\"originalPath\":\"/a\",\"quarantinePath\":7}", "{truncated"};
    EXPECT_EQ(read.damaged, expected);
}

TEST(Ledger, ARowWhoseStateIsNotTrueOrFalseIsKeptAsDamaged) {
    const std::string lines[] = {
        R"({"originalPath":"/a","quarantinePath":"/q/a","released":"yes"})",
        R"({"originalPath":"/a","quarantinePath":"/q/a","restored":1})",
    };
    for (const std::string& line : lines) {
        LedgerContents read = ledgerLines(line + "\n");
        EXPECT_TRUE(read.entries.empty()) << line;
        EXPECT_EQ(read.damaged, std::vector<std::string>{line});
    }
}

TEST(Ledger, EntryStates) {
    QuarantineEntry held;
    EXPECT_TRUE(held.active());
    EXPECT_FALSE(held.finished());
    QuarantineEntry released = held;
    released.released = true;
    EXPECT_FALSE(released.active());
    EXPECT_FALSE(released.finished()) << "a release is finished only once settled";
    released.settled = true;
    EXPECT_TRUE(released.finished());
    QuarantineEntry restored = held;
    restored.restored = true;
    EXPECT_TRUE(restored.finished());
    QuarantineEntry discarded = held;
    discarded.discardedAt = "2026-11-09T10:00:00Z";
    EXPECT_FALSE(discarded.active());
    EXPECT_TRUE(discarded.finished());
}

}  // namespace
}  // namespace kelvor
