#include "quillet/recovery/restorable.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

RestorableItem row(const std::string& id, const std::string& origin, RecoveryKind kind) {
    RestorableItem item;
    item.id = id;
    item.originalPath = origin;
    item.kind = kind;
    return item;
}

TEST(FoldSameOrigin, KeepsTheNewestRowOfAPlaceButNeverFoldsHeldCopiesOrRowsOfAnotherKind) {
    const std::string npm = "/h/.npm/_cacache", deno = "/h/.cache/deno";
    const std::vector<std::pair<std::vector<RestorableItem>, std::vector<std::string>>> cases = {
        {{row("new", npm, RecoveryKind::trashed), row("other", "/h/.cache/pip", RecoveryKind::trashed),
          row("older", npm, RecoveryKind::trashed), row("oldest", npm, RecoveryKind::trashed)},
         {"new+2", "other+0"}},
        {{row("held-new", deno, RecoveryKind::quarantined), row("held-old", deno, RecoveryKind::quarantined),
          row("trash", deno, RecoveryKind::trashed), row("gone", deno, RecoveryKind::refetch),
          row("gone-older", deno, RecoveryKind::refetch)},
         {"held-new+0", "held-old+0", "trash+0", "gone+1"}},
    };
    for (const auto& [rows, kept] : cases) {
        std::vector<std::string> ids;
        for (const RestorableItem& item : foldSameOrigin(rows))
            ids.push_back(item.id + "+" + std::to_string(item.folded));
        EXPECT_EQ(ids, kept);
    }
}

TEST(RestorableItem, OnlyACopyThatComesBackAnotherWayIsSafeToDiscard) {
    RestorableItem item = row("r", "/h/x", RecoveryKind::trashed);
    item.payloadPresent = true;
    item.ruleTier = "C · review";
    EXPECT_FALSE(item.safeToDiscard()) << "the person's own files";
    item.ruleTier = "A · re-downloadable";
    EXPECT_FALSE(item.safeToDiscard()) << "nobody proved it comes back";
    item.ruleVerified = true;
    EXPECT_TRUE(item.safeToDiscard());
    item.payloadPresent = false;
    EXPECT_FALSE(item.safeToDiscard()) << "nothing left to discard";
    RestorableItem held = row("q", "/h/y", RecoveryKind::quarantined);
    held.payloadPresent = true;
    held.command = {"npm", "ci"};
    EXPECT_FALSE(held.safeToDiscard()) << "held copies are under observation";
    RestorableItem review = row("t", "/h/z", RecoveryKind::trashed);
    review.payloadPresent = true;
    review.originTaken = true;
    EXPECT_TRUE(review.rebuiltAtOrigin());
    EXPECT_TRUE(review.safeToDiscard()) << "its tool made it again";
    review.backNow = true;
    EXPECT_FALSE(review.rebuiltAtOrigin()) << "what stands there is the item itself, put back";
}

TEST(RestorableItem, TheCommandLineQuotesWhatAShellWouldSplit) {
    RestorableItem item;
    item.command = {"hf", "download", "org/model name", "it's", "--revision=v1.2"};
    EXPECT_EQ(item.commandLine(), "hf download 'org/model name' 'it'\\''s' --revision=v1.2");
}

TEST(RestorableItem, DatesFollowWhereTheRowCameFrom) {
    RestorableItem released = row("r", "/h/x", RecoveryKind::trashed);
    released.heldAt = "/h/.kelvor/quarantine/ab-x";
    released.when = "2026-03-01T10:00:00Z";
    released.releasedAt = "2026-03-08T10:00:00Z";
    EXPECT_EQ(released.quarantineDate(), "2026-03-01");
    EXPECT_EQ(released.trashDate(), "2026-03-08");
    RestorableItem trashed = row("t", "/h/y", RecoveryKind::trashed);
    trashed.action = "trash";
    trashed.when = "2026-04-02T00:00:00Z";
    EXPECT_EQ(trashed.quarantineDate(), "");
    EXPECT_EQ(trashed.trashDate(), "2026-04-02");
    trashed.goneSeenAt = "2026-04-09T00:00:00Z";
    EXPECT_EQ(trashed.goneDate(), "2026-04-09");
    trashed.goneAt = "2026-04-05T00:00:00Z";
    EXPECT_EQ(trashed.goneDate(), "2026-04-05") << "the recorded time wins over a later sighting";
}

TEST(RecoveryItems, ARecordThatCannotBeReadListsNothingAndIsLeftAlone) {
    testing::TempHome home;
    const std::string record = home / ".kelvor/undo/2026-01-01T00-00-00Z-AAAAAAAA.json";
    testing::writeFile(record, "{\"items\": [ {\"owner\": ");
    bool more = true;
    EXPECT_TRUE(recoveryItems(RECOVERY_LIST_LIMIT, &more).empty());
    EXPECT_FALSE(more);
    EXPECT_EQ(testing::readFile(record), "{\"items\": [ {\"owner\": ");
}

}  // namespace
}  // namespace kelvor
