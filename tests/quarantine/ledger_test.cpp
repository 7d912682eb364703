#include "quillet/quarantine/ledger.hpp"

#include <gtest/gtest.h>

#include <functional>

namespace kelvor {
namespace {

QuarantineEntry fullEntry() {
    return {.originalPath = "/home/ada/.cache/pip", .quarantinePath = "/home/ada/.kelvor/quarantine/0a1b2c3d-pip",
            .owner = "pip", .component = "Wheel cache", .bytes = 18446744073709551615ULL,
            .when = "2026-11-01T10:00:00Z", .released = true, .releasedTo = "/home/ada/.local/share/Trash/files/pip",
            .releasedAt = "2026-11-08T10:00:00Z", .restored = false, .settled = true, .recreated = true,
            .pending = false, .discardedAt = "2026-11-09T10:00:00Z", .restoredTo = "/home/ada/.cache/pip (restored)",
            .rawLine = ""};
}

TEST(Ledger, ObservationDaysComeFromTheStoredValueWithinRange) {
    const std::pair<std::optional<std::int64_t>, int> cases[] = {{0, 7},  {1, 1},  {30, 30},          {31, 7},
                                                                 {-3, 7}, {14, 14}, {std::nullopt, 7}};
    for (const auto& [stored, days] : cases) EXPECT_EQ(quarantineDaysFrom(stored), days) << stored.value_or(-999);
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
    EXPECT_EQ(read.entries[0].rawLine, line);
    EXPECT_EQ(ledgerLine(read.entries[0]), line) << "every key read back as written";
}

TEST(Ledger, LinesThatAreNoRowAreKeptAsTheyStand) {
    std::string good = ledgerLine(fullEntry());
    std::vector<std::string> damaged = {"not json at all",
                                        "[1,2,3]",
                                        "{\"owner\":\"pip\"}",
                                        "{\"originalPath\":\"/a\",\"quarantinePath\":7}",
                                        R"({"originalPath":"/a","quarantinePath":"/q/a","released":"yes"})",
                                        R"({"originalPath":"/a","quarantinePath":"/q/a","restored":1})",
                                        "{truncated"};
    std::string text = damaged[0] + "\n" + good + "\n\n   \n";
    for (size_t i = 1; i < damaged.size(); ++i) text += damaged[i] + (i + 1 < damaged.size() ? "\n" : "");
    LedgerContents read = ledgerLines(text);
    ASSERT_EQ(read.entries.size(), 1u);
    EXPECT_EQ(read.entries[0].rawLine, good);
    EXPECT_EQ(read.damaged, damaged);
}

TEST(Ledger, EntryStates) {
    struct Case {
        const char* what;
        std::function<void(QuarantineEntry&)> change;
        bool active, finished;
    };
    const Case cases[] = {
        {"held", [](QuarantineEntry&) {}, true, false},
        {"released, not settled", [](QuarantineEntry& e) { e.released = true; }, false, false},
        {"released and settled", [](QuarantineEntry& e) { e.released = true, e.settled = true; }, false, true},
        {"restored", [](QuarantineEntry& e) { e.restored = true; }, false, true},
        {"discarded", [](QuarantineEntry& e) { e.discardedAt = "2026-11-09T10:00:00Z"; }, false, true},
    };
    for (const Case& c : cases) {
        QuarantineEntry entry;
        c.change(entry);
        EXPECT_EQ(entry.active(), c.active) << c.what;
        EXPECT_EQ(entry.finished(), c.finished) << c.what;
    }
}

}  // namespace
}  // namespace kelvor
