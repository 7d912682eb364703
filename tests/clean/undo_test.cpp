#include "quillet/clean/undo.hpp"

#include <gtest/gtest.h>

#include <filesystem>

#include "quillet/quarantine/quarantine_store.hpp"
#include "tests/clean/clean_fixture.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using namespace kelvor::testing;

bool saysLine(const UndoOutcome& outcome, const std::string& start, const std::string& path = "") {
    for (const std::string& line : outcome.lines)
        if (line.starts_with(start) && (path.empty() || line.ends_with(" " + path))) return true;
    return false;
}

std::string allLines(const UndoOutcome& outcome) {
    std::string text;
    for (const std::string& line : outcome.lines) text += line + "\n";
    return text;
}

class Undo : public ::testing::Test {
protected:
    // Cleans the stores at `paths` (made first where there is none) into the test's Trash and
    // returns the record.
    std::string cleaned(const std::vector<std::string>& paths) {
        std::vector<CleanTarget> targets;
        for (const std::string& path : paths) {
            if (!fs::exists(path)) makeStore(path, path);
            targets.push_back(targetAt(path, "npm"));
        }
        ApplyContext context{.files = &trash};
        CleanOutcome outcome = applyCleanPlan(targets, {}, context);
        EXPECT_TRUE(outcome.manifestPath);
        return outcome.manifestPath.value_or("");
    }
    TempHome home;
    FolderTrash trash{home / "test-trash"};
};

TEST_F(Undo, PutsEveryMovedItemBackByteForByteAndASecondUndoSaysItIsDone) {
    makeStore(home / "caches/one", "1");
    makeStore(home / "caches/two", "2");
    TreeState before = snapshotTree(home / "caches");
    std::string record = cleaned({home / "caches/one", home / "caches/two"});
    ASSERT_FALSE(fs::exists(home / "caches/one"));
    UndoOutcome first = runUndo("last", trash);
    EXPECT_EQ(first.restored, 2) << allLines(first);
    EXPECT_TRUE(first.complete());
    EXPECT_TRUE(first.retired);
    EXPECT_EQ(snapshotTree(home / "caches"), before) << "every byte, mode and time as it was";
    EXPECT_FALSE(fs::exists(record));
    EXPECT_TRUE(fs::exists(retiredManifestPath(record)));
    UndoOutcome again = runUndo("last", trash);
    EXPECT_TRUE(saysLine(again, "Already undone:")) << allLines(again);
    EXPECT_TRUE(saysLine(again, "The most recent cleanup is already undone")) << allLines(again);
    EXPECT_TRUE(again.complete());
    UndoOutcome named = runUndo(record, trash);
    EXPECT_TRUE(saysLine(named, "Already undone:", record)) << allLines(named);
}

TEST_F(Undo, NeverOverwritesWhatWasPutBackByHandAndKeepsTheRecord) {
    std::string record = cleaned({home / "caches/one", home / "caches/two"});
    writeFile(home / "caches/one/new-data", "made since");
    UndoOutcome outcome = runUndo(record, trash);
    EXPECT_EQ(outcome.occupied, 1);
    EXPECT_EQ(outcome.restored, 1);
    EXPECT_TRUE(saysLine(outcome, "  ⚠ new data already at the original path — skipped:", home / "caches/one"))
        << allLines(outcome);
    EXPECT_FALSE(outcome.complete());
    EXPECT_EQ(testing::readFile(home / "caches/one/new-data"), "made since");
    EXPECT_FALSE(fs::exists(home / "caches/one/top")) << "nothing was merged into the occupant";
    ASSERT_TRUE(fs::exists(record)) << "the record stays for a later try";
    nlohmann::json items = recordAt(record)["items"];
    EXPECT_FALSE(items[0].value("restored", false));
    EXPECT_TRUE(items[1].value("restored", false));
    // Once the place is free again, only the row left over comes back.
    fs::rename(home / "caches/one", home / "elsewhere");
    UndoOutcome retry = runUndo(record, trash);
    EXPECT_EQ(retry.restored, 1);
    EXPECT_TRUE(saysLine(retry, "  ✓ already restored earlier — skipping:", home / "caches/two")) << allLines(retry);
    EXPECT_TRUE(retry.retired);
}

TEST_F(Undo, AQuarantinedItemComesBackThroughTheQuarantineBesideWhatNowStandsThere) {
    makeStore(home / "caches/review", "r");
    makeStore(home / "caches/taken", "t");
    TreeState before = snapshotTree(home / "caches/review");
    std::vector<CleanTarget> targets = {targetAt(home / "caches/review", "Codex", Tier::review),
                                        targetAt(home / "caches/taken", "Codex", Tier::review)};
    ApplyContext context{.files = &trash};
    context.quarantine = [](const CleanTarget& target) {
        return quarantineItem(target.rule.owner, target.rule.component, target.path, target.stat.bytes, *target.identity);
    };
    CleanOutcome outcome = applyCleanPlan(targets, {}, context);
    ASSERT_EQ(outcome.countWith(ItemFate::quarantined), 2);
    writeFile(home / "caches/taken/new", "made since");
    UndoOutcome undone = runUndo(*outcome.manifestPath, trash);
    EXPECT_EQ(undone.restored, 2) << allLines(undone);
    EXPECT_EQ(snapshotTree(home / "caches/review"), before);
    ASSERT_EQ(undone.beside.size(), 1u) << allLines(undone);
    EXPECT_TRUE(fs::exists(undone.beside[0] + "/top"));
    EXPECT_EQ(testing::readFile(home / "caches/taken/new"), "made since") << "the occupant is left as it is";
    ASSERT_TRUE(undone.retired);
    std::vector<ManifestItem> rows = rowsOf(undone.manifest.value_or(""));
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_TRUE(quarantineWasRestored(rows[0].trashedTo)) << "the quarantine's own ledger knows it came back";
}

TEST_F(Undo, RefusesAParentThatBecameALinkOrAnotherFolder) {
    std::string record = cleaned({home / "linked/store", home / "swapped/store"});
    fs::rename(home / "linked", home / "linked-was");
    fs::create_directories(home / "target");
    fs::create_directory_symlink(home / "target", home / "linked");
    fs::rename(home / "swapped", home / "swapped-was");
    fs::create_directories(home / "swapped");
    UndoOutcome outcome = runUndo(record, trash);
    EXPECT_EQ(outcome.restored, 0) << allLines(outcome);
    EXPECT_TRUE(saysLine(outcome, "  ⚠ the folder it came out of is now a link", home / "linked/store"))
        << allLines(outcome);
    EXPECT_TRUE(saysLine(outcome, "  ⚠ the folder it came out of is not the one it was recorded from",
                         home / "swapped/store"))
        << allLines(outcome);
    EXPECT_TRUE(fs::is_empty(home / "target")) << "nothing was written through the link";
    EXPECT_TRUE(fs::is_empty(home / "swapped"));
    EXPECT_EQ(std::distance(fs::directory_iterator(trash.folder()), fs::directory_iterator()), 2)
        << "both items wait in the Trash";
    EXPECT_FALSE(outcome.complete());
}

TEST_F(Undo, AnEmptiedTrashIsMissingAndTheCountsSayIt) {
    std::string record = cleaned({home / "caches/one"});
    fs::remove_all(trash.folder());
    UndoOutcome outcome = runUndo(record, trash);
    EXPECT_EQ(outcome.missing, 1);
    EXPECT_TRUE(saysLine(outcome, "  ✗ not in Trash (may have been emptied):", home / "caches/one"));
    EXPECT_TRUE(saysLine(outcome, "  restored 0, lost-from-Trash 1, skipped-occupied 0")) << allLines(outcome);
}

TEST_F(Undo, LastSkipsAnUnreadableNewestRecordAndSaysSo) {
    std::string record = cleaned({home / "caches/one"});
    std::string newest = home / ".kelvor/undo/2999-01-01T00-00-00Z-00000000.json";
    writeFile(newest, "{ not json");
    UndoOutcome outcome = runUndo("last", trash);
    EXPECT_EQ(outcome.usedOlderRecord, record);
    EXPECT_TRUE(saysLine(outcome, "The most recent record (" + newest + ") cannot be read — using the one before it."))
        << allLines(outcome);
    EXPECT_EQ(outcome.restored, 1);
    EXPECT_EQ(testing::readFile(newest), "{ not json") << "an unreadable record is never rewritten";
    fs::remove(retiredManifestPath(record));
    UndoOutcome alone = runUndo("last", trash);
    EXPECT_TRUE(saysLine(alone, "The most recent undo record cannot be read, and there is no earlier one."))
        << allLines(alone);
    EXPECT_FALSE(alone.complete());
}

TEST_F(Undo, ANamedRecordThatIsNotThereCannotBeRead) {
    UndoOutcome missing = runUndo(home / "nowhere.json");
    EXPECT_TRUE(saysLine(missing, "Cannot read manifest:")) << allLines(missing);
    EXPECT_FALSE(missing.complete());
}

TEST_F(Undo, RowsItCannotTakeBackAreReportedAndKeepTheRecordOpen) {
    std::string record = cleaned({home / "caches/one"});
    nlohmann::json value = recordAt(record);
    nlohmann::json relocate = value["items"][0];
    relocate["action"] = "relocate";
    relocate["originalPath"] = home / "moved-away";
    nlohmann::json tool = relocate;
    tool["action"] = "docker-remove";
    tool["undoCmd"] = nlohmann::json::array();
    value["items"].push_back(relocate);
    value["items"].push_back(tool);
    value["items"].push_back(nlohmann::json{{"originalPath", 7}});
    ASSERT_TRUE(writeJsonRecord(record, value));
    UndoOutcome outcome = runUndo(record, trash);
    EXPECT_EQ(outcome.restored, 1);
    EXPECT_TRUE(saysLine(outcome, "  ✗ this build cannot take back a \"relocate\" row", home / "moved-away"))
        << allLines(outcome);
    EXPECT_TRUE(saysLine(outcome, "  ✗ no way back was recorded for:", home / "moved-away")) << allLines(outcome);
    EXPECT_TRUE(saysLine(outcome, "  1 item(s) had no recorded way back")) << allLines(outcome);
    EXPECT_TRUE(saysLine(outcome, "  ✗ this line of the record cannot be read — leaving the record open"));
    EXPECT_TRUE(fs::exists(record));
    EXPECT_FALSE(fs::exists(home / "moved-away")) << "nothing was guessed at";
    EXPECT_EQ(recordAt(record)["items"][3], (nlohmann::json{{"originalPath", 7}})) << "an unreadable row is kept as it was";
}

}  // namespace
}  // namespace kelvor
