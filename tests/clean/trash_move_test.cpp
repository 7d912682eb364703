#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <regex>

#include "quillet/clean/moved_mark.hpp"
#include "quillet/platform/trash_info.hpp"
#include "quillet/clean/trash_move.hpp"
#include "quillet/clean/trash_others.hpp"
#include "quillet/platform/fsops.hpp"
#include "quillet/platform/home.hpp"
#include "quillet/platform/trash.hpp"
#include "tests/support/run_kelvor.hpp"
#include "tests/support/run_program.hpp"
#include "tests/support/scoped_mount.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using testing::readFile;
using testing::TempHome;
using testing::writeFile;

PathIdentity identity(const std::string& path) {
    Result<PathIdentity> found = FileOps::real().identity(path);
    EXPECT_TRUE(found) << path;
    return found ? *found : PathIdentity{};
}

TrashOutcome trash(const std::string& path) { return trashItem(path, 1, identity(path), UndoRecord::written); }

std::string infoOf(const std::string& entry) {
    fs::path place(entry);
    return (place.parent_path().parent_path() / "info" / (place.filename().string() + ".trashinfo")).string();
}

// What `command` printed on standard output (commands here add "2>&1" where errors matter).
std::string shellOutput(const std::string& command) { return testing::runProgram({"/bin/sh", "-c", command}, "").out; }

bool have(const std::string& tool) { return std::system(("command -v " + tool + " >/dev/null 2>&1").c_str()) == 0; }

TEST(TrashMove, MovesIntoTheHomeTrashWithItsRecordAndMark) {
    TempHome home;
    std::string name = "we ird%\nname\xff";
    std::string original = home / ("docs/" + name);
    writeFile(original, "payload");
    auto before = WallClock::now();
    TrashOutcome outcome = trash(original);
    ASSERT_TRUE(outcome.moved()) << outcome.refusal->message;
    EXPECT_FALSE(fs::exists(fs::symlink_status(original)));
    EXPECT_EQ(fs::path(outcome.destination).parent_path(), home / ".local/share/Trash/files");
    EXPECT_EQ(readFile(outcome.destination), "payload");
    std::string record = readFile(infoOf(outcome.destination));
    EXPECT_TRUE(record.starts_with("[Trash Info]\n")) << record;
    EXPECT_NE(record.find("\nPath=" + percentEncodePath(home / "docs") + "/we%20ird%25%0Aname%FF\n"), std::string::npos)
        << record;
    std::smatch date;
    ASSERT_TRUE(std::regex_search(record, date, std::regex("\nDeletionDate=(\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d)\n")))
        << record;
    std::string earliest = localTrashStamp(before), latest = localTrashStamp(WallClock::now());
    EXPECT_LE(earliest, date[1].str());
    EXPECT_GE(latest, date[1].str()) << "the date is local time";
    std::optional<MovedMark> mark = movedMark(outcome.destination);
    ASSERT_TRUE(mark);
    EXPECT_EQ(mark->originalPath, original);
    EXPECT_TRUE(FileOps::real().getXattr(outcome.destination, MOVED_MARK_ATTRIBUTE).value()) << "the mark is on the entry itself";
    EXPECT_FALSE(verifyDiscard(outcome.destination, original).refusal);
}

TEST(TrashMove, TwoItemsOfOneNameBothStayAndATakenRecordNameIsNeverOverwritten) {
    TempHome home;
    writeFile(home / "a/report.txt", "first");
    TrashOutcome first = trash(home / "a/report.txt");
    writeFile(home / "a/report.txt", "second");
    TrashOutcome second = trash(home / "a/report.txt");
    ASSERT_TRUE(first.moved() && second.moved());
    EXPECT_EQ(readFile(first.destination), "first");
    EXPECT_EQ(readFile(second.destination), "second");
    EXPECT_NE(infoOf(first.destination), infoOf(second.destination));
    writeFile(home / ".local/share/Trash/info/x.trashinfo", "someone else's");
    writeFile(home / "x", "mine");
    TrashOutcome outcome = trash(home / "x");
    ASSERT_TRUE(outcome.moved());
    EXPECT_NE(outcome.destination, home / ".local/share/Trash/files/x");
    EXPECT_EQ(readFile(home / ".local/share/Trash/info/x.trashinfo"), "someone else's");
}

TEST(TrashMove, RefusalsLeaveTheItemInPlace) {
    TempHome home;
    writeFile(home / ".kelvor/quarantine/ledger.jsonl", "{}");
    writeFile(home / "keep.txt", "keep");
    writeFile(home / "other.txt", "other");
    struct Case {
        std::string path;
        PathIdentity measured;
        UndoRecord undo;
        std::string message;
    };
    const Case cases[] = {
        {home / ".kelvor/quarantine/ledger.jsonl", identity(home / ".kelvor/quarantine/ledger.jsonl"),
         UndoRecord::written, "this is Kelvor's own recovery state — it is never a cleanup target"},
        {home / ".kelvor", identity(home / ".kelvor"), UndoRecord::written,
         "this is Kelvor's own recovery state — it is never a cleanup target"},
        {home / "keep.txt", identity(home / "keep.txt"), UndoRecord::missing,
         "no undo record could be written — refusing to remove"},
        {home / "keep.txt", identity(home / "other.txt"), UndoRecord::written,
         "it is not the item that was measured any more — nothing was touched"},
        {home / "gone.txt", identity(home / "keep.txt"), UndoRecord::written,
         "it is not there any more — nothing was touched"},
    };
    for (const Case& c : cases) {
        TrashOutcome outcome = trashItem(c.path, 1, c.measured, c.undo);
        EXPECT_EQ(outcome.moved() ? "(moved)" : outcome.refusal->message, c.message) << c.path;
    }
    EXPECT_EQ(readFile(home / "keep.txt"), "keep");
    EXPECT_EQ(readFile(home / ".kelvor/quarantine/ledger.jsonl"), "{}");
    EXPECT_FALSE(fs::exists(home / ".local/share/Trash/files/keep.txt"));
}

// The Trash refuses every move, as a full or read-only disk would.
struct TrashRefuses : FileOpsWrapper {
    using FileOpsWrapper::FileOpsWrapper;
    Result<std::string> moveToTrash(const std::string& path) override { return Error{ENOSPC, "move " + path}; }
};

TEST(TrashMove, AMoveTheFileOperationsRefuseIsARefusalWithTheirReasonAndNoMark) {
    TempHome home;
    writeFile(home / "big.bin", "b");
    TrashRefuses operations(FileOps::real());
    TrashOutcome outcome = trashItem(home / "big.bin", 1, identity(home / "big.bin"), UndoRecord::written,
                                     WallClock::now(), operations);
    ASSERT_FALSE(outcome.moved());
    EXPECT_NE(outcome.refusal->message.find("No space left on device"), std::string::npos) << outcome.refusal->message;
    EXPECT_EQ(readFile(home / "big.bin"), "b");
    EXPECT_FALSE(movedMark(home / "big.bin"));
    EXPECT_FALSE(fs::exists(movedMarksFile()));
}

TEST(TrashMove, VerifyDiscardRefusesEverythingItCannotProve) {
    TempHome home;
    writeFile(home / "mine.bin", "m");
    TrashOutcome mine = trash(home / "mine.bin");
    ASSERT_TRUE(mine.moved());
    // An entry another program put there, with its own record.
    std::string foreign = home / ".local/share/Trash/files/foreign.bin";
    writeFile(foreign, "f");
    writeFile(home / ".local/share/Trash/info/foreign.bin.trashinfo",
              "[Trash Info]\nPath=" + home / "foreign.bin" + "\nDeletionDate=2026-01-01T00:00:00\n");
    writeFile(home / "outside.bin", "o");
    writeFile(home / ".kelvor/undo/run.json", "{}");
    struct Case {
        std::string path;
        std::string expected;
        std::string refusal;  // "" when the discard is allowed
    };
    const Case cases[] = {
        {mine.destination, home / "mine.bin", ""},
        {mine.destination, home / "elsewhere.bin",
         "the file at that spot in the Trash came from somewhere else — not discarding it"},
        {mine.destination, "", "this record does not say what that file was — not discarding it"},
        {foreign, home / "foreign.bin", "this file was not moved here by Kelvor — use your file manager to delete it"},
        {home / "outside.bin", home / "outside.bin", "not inside a Trash — refusing"},
        {home / ".kelvor/undo/run.json", home / "x", "this is Kelvor's own recovery state — it is never a cleanup target"},
        {home / ".local/share/Trash/files/missing", home / "missing",
         "that spot in the Trash no longer holds the file we moved there — not discarding it"},
    };
    for (const Case& c : cases) {
        DiscardCheck check = verifyDiscard(c.path, c.expected);
        EXPECT_EQ(check.refusal ? check.refusal->message : "", c.refusal) << c.path;
    }
    // The Trash's own record for the spot now names something else: the spot was reused.
    writeFile(infoOf(mine.destination), "[Trash Info]\nPath=" + home / "impostor" + "\nDeletionDate=2026-01-01T00:00:00\n");
    DiscardCheck reused = verifyDiscard(mine.destination, home / "mine.bin");
    EXPECT_EQ(reused.refusal ? reused.refusal->message : "",
              "that spot in the Trash no longer holds the file we moved there — not discarding it");
}

TEST(TrashMove, AnItemOnAnotherMountGoesToThatMountsTrash) {
    TempHome home;
    fs::create_directories(home / "disk");
    testing::ScopedMount disk = testing::ScopedMount::tmpfs(home / "disk");
    if (!disk.mounted()) GTEST_SKIP() << "mounting needs root";
    std::string uid = std::to_string(::getuid());
    writeFile(home / "disk/projects/big model.bin", "weights");
    TrashOutcome outcome = trash(home / "disk/projects/big model.bin");
    ASSERT_TRUE(outcome.moved()) << outcome.refusal->message;
    EXPECT_EQ(fs::path(outcome.destination).parent_path(), home / ("disk/.Trash-" + uid + "/files"));
    std::string record = readFile(infoOf(outcome.destination));
    EXPECT_NE(record.find("\nPath=projects/big%20model.bin\n"), std::string::npos) << "relative to the mount: " << record;
    EXPECT_FALSE(fs::exists(home / ".local/share/Trash/files/big model.bin")) << "never copied home";
    EXPECT_EQ(trashRecordOrigin(outcome.destination), home / "disk/projects/big model.bin");
    EXPECT_FALSE(verifyDiscard(outcome.destination, home / "disk/projects/big model.bin").refusal);
    std::vector<std::string> folders = trashFolders();
    EXPECT_NE(std::find(folders.begin(), folders.end(), home / ("disk/.Trash-" + uid)), folders.end())
        << "the mount's Trash is found from the mount table";
    // A shared ".Trash" with the sticky bit takes precedence; without it, it is ignored.
    fs::create_directory(home / "disk/.Trash");
    ::chmod((home / "disk/.Trash").c_str(), 01777);
    writeFile(home / "disk/second.bin", "2");
    TrashOutcome shared = trash(home / "disk/second.bin");
    ASSERT_TRUE(shared.moved());
    EXPECT_EQ(fs::path(shared.destination).parent_path(), home / ("disk/.Trash/" + uid + "/files"));
    ::chmod((home / "disk/.Trash").c_str(), 0777);
    writeFile(home / "disk/third.bin", "3");
    TrashOutcome unsafe = trash(home / "disk/third.bin");
    ASSERT_TRUE(unsafe.moved());
    EXPECT_EQ(fs::path(unsafe.destination).parent_path(), home / ("disk/.Trash-" + uid + "/files"));
}

TEST(TrashMove, WithoutExtendedAttributesTheMarkLivesInKelvorsRecords) {
    TempHome home;
    fs::create_directories(home / "plain");
    testing::ScopedMount disk = testing::ScopedMount::ramfs(home / "plain");
    if (!disk.mounted()) GTEST_SKIP() << "mounting needs root";
    std::string original = home / "plain/cache\xfe.bin";
    writeFile(original, "c");
    ASSERT_FALSE(FileOps::real().setXattr(original, "probe", "1")) << "ramfs keeps no user attributes";
    TrashOutcome outcome = trash(original);
    ASSERT_TRUE(outcome.moved()) << outcome.refusal->message;
    EXPECT_NE(readFile(movedMarksFile()).find("cache%FE.bin"), std::string::npos);
    std::optional<MovedMark> mark = movedMark(outcome.destination);
    ASSERT_TRUE(mark);
    EXPECT_EQ(mark->originalPath, original);
    EXPECT_FALSE(verifyDiscard(outcome.destination, original).refusal);
    DiscardCheck other = verifyDiscard(outcome.destination, home / "plain/other.bin");
    EXPECT_EQ(other.refusal ? other.refusal->message : "", "the file at that spot in the Trash came from somewhere else — not discarding it");
    // A new file at another spot with a reused inode number carries no mark.
    writeFile(home / "plain/.Trash-" + std::to_string(::getuid()) + "/files/unmarked", "u");
    EXPECT_FALSE(movedMark(home / "plain/.Trash-" + std::to_string(::getuid()) + "/files/unmarked"));
}

TEST(TrashMove, TrashCliAndKelvorEachSeeWhatTheOtherMoved) {
    if (!have("trash-list")) GTEST_SKIP() << "trash-cli is not installed";
    TempHome home;
    std::string ours = home / "work/notes with blank.txt";
    writeFile(ours, "notes");
    TrashOutcome outcome = trash(ours);
    ASSERT_TRUE(outcome.moved());
    writeFile(home / "theirs/old.log", "theirs");
    shellOutput("trash-put '" + home / "theirs/old.log" + "' 2>&1");
    std::vector<TrashOther> others = trashOthers({}, 100);
    ASSERT_EQ(others.size(), 1u);
    EXPECT_EQ(others[0].origin, home / "theirs/old.log");
    EXPECT_GT(others[0].size, 0u);
    EXPECT_FALSE(others[0].date.empty());
    EXPECT_EQ(trashForeignCount(), 1u);
    testing::RunOutput run = testing::runKelvorBinary({"--mode", "trash-others"});
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.out.find(home / "theirs/old.log"), std::string::npos) << run.out;
    EXPECT_EQ(run.out.find("notes with blank"), std::string::npos) << "Kelvor's own entry is not listed: " << run.out;
    std::string listed = shellOutput("trash-list 2>&1");
    EXPECT_NE(listed.find(ours), std::string::npos) << listed;
    shellOutput("cd '" + home / "work" + "' && echo 0 | trash-restore '" + home / "work" + "' 2>&1");
    EXPECT_EQ(readFile(ours), "notes");
    EXPECT_FALSE(fs::exists(outcome.destination));
}

TEST(TrashMove, WhatGioTrashMovedIsListedWithItsOrigin) {
    if (!have("gio")) GTEST_SKIP() << "gio is not installed";
    TempHome home;
    writeFile(home / "theirs/report 100%.txt", "theirs");
    shellOutput("gio trash '" + home / "theirs/report 100%.txt" + "' 2>&1");
    ASSERT_FALSE(fs::exists(home / "theirs/report 100%.txt")) << "gio could not move it";
    std::vector<TrashOther> others = trashOthers({}, 100);
    ASSERT_EQ(others.size(), 1u);
    EXPECT_EQ(others[0].origin, home / "theirs/report 100%.txt");
    TrashAction back = putBackOther(others[0]);
    EXPECT_TRUE(back.done) << back.message;
    EXPECT_EQ(readFile(home / "theirs/report 100%.txt"), "theirs");
}

TEST(TrashMove, ForeignEntriesArePutBackOrDeletedOnlyByTheRules) {
    TempHome home;
    std::string trashFiles = home / ".local/share/Trash/files";
    auto foreign = [&](const std::string& name, const std::string& origin) {
        writeFile(trashFiles + "/" + name, name);
        writeFile(home / (".local/share/Trash/info/" + name + ".trashinfo"),
                  "[Trash Info]\nPath=" + percentEncodePath(origin) + "\nDeletionDate=2026-01-01T00:00:00\n");
        return TrashOther{trashFiles + "/" + name, 1, "", origin};
    };
    fs::create_directories(home / "back");
    TrashAction back = putBackOther(foreign("a.txt", home / "back/a.txt"));
    EXPECT_TRUE(back.done) << back.message;
    EXPECT_EQ(readFile(home / "back/a.txt"), "a.txt");
    EXPECT_FALSE(fs::exists(home / ".local/share/Trash/info/a.txt.trashinfo"));
    writeFile(home / "back/b.txt", "already here");
    TrashAction taken = putBackOther(foreign("b.txt", home / "back/b.txt"));
    EXPECT_FALSE(taken.done);
    EXPECT_EQ(taken.message, "something is already at the original path");
    EXPECT_EQ(readFile(home / "back/b.txt"), "already here");
    TrashAction folderGone = putBackOther(foreign("c.txt", home / "gone/c.txt"));
    EXPECT_EQ(folderGone.message, "the folder it came from no longer exists");
    writeFile(trashFiles + "/norecord.txt", "n");
    TrashAction noRecord = putBackOther(TrashOther{trashFiles + "/norecord.txt", 1, "", std::nullopt});
    EXPECT_EQ(noRecord.message, "the file manager did not record where this came from — use its Restore command if it offers one");
    TrashAction deleted = deleteOther(TrashOther{trashFiles + "/c.txt", 1, "", std::nullopt});
    EXPECT_TRUE(deleted.done) << deleted.message;
    EXPECT_FALSE(fs::exists(trashFiles + "/c.txt"));
    writeFile(home / "precious.txt", "p");
    TrashAction outside = deleteOther(TrashOther{home / "precious.txt", 1, "", std::nullopt});
    EXPECT_FALSE(outside.done);
    EXPECT_EQ(outside.message, "not a Trash entry — refusing");
    EXPECT_TRUE(fs::exists(home / "precious.txt"));
}

TEST(TrashMove, EmptyingTheHomeTrashTakesOnlyKelvorsEntries) {
    TempHome home;
    writeFile(home / "ours.bin", "o");
    ASSERT_TRUE(trash(home / "ours.bin").moved());
    writeFile(home / ".local/share/Trash/files/theirs.bin", "t");
    EXPECT_EQ(trashContents().size(), 2u);
    EXPECT_EQ(emptyHomeTrash(), 1u);
    std::vector<std::string> left = trashContents();
    ASSERT_EQ(left.size(), 1u);
    EXPECT_EQ(fs::path(left[0]).filename(), "theirs.bin");
}

}  // namespace
}  // namespace kelvor
