#include "quillet/space/unclaimed_survey.hpp"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/space/unclaimed_fixture.hpp"
#include "tests/support/disk_usage.hpp"
#include "tests/support/unprivileged.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using namespace kelvor::testing;

const UnclaimedEntry* rowFor(const UnclaimedSurvey& survey, const std::string& path) {
    for (const UnclaimedEntry& row : survey.rows)
        if (row.path == path) return &row;
    return nullptr;
}

const Hit* hitAt(const UnclaimedSurvey& survey, const std::string& path) {
    for (const Hit& hit : survey.hits)
        if (hit.path == path) return &hit;
    return nullptr;
}

TEST(SurveyUnclaimed, EveryTreeAndStoreIsMeasuredLikeDuAtEveryDepth) {
    TempHome home;
    fill(home / "work/top.bin", 40 * KB);
    fill(home / "work/a/one.bin", 70 * KB);
    fill(home / "work/a/b/two.bin", 90 * KB);
    fill(home / "work/a/b/c/three.bin", 110 * KB);
    fill(home / "work/a/b/c/store/d/e/four.bin", 130 * KB);
    fill(home / "work/z/y/x/w/five.bin", 150 * KB);
    // A file linked twice inside one folder is one file's worth of space, in the folder and the tree.
    fs::create_hard_link(home / "work/a/b/two.bin", home / "work/a/b/c/two-again.bin");
    fs::create_hard_link(home / "work/top.bin", home / "work/top-again.bin");
    fs::create_directory_symlink(home / "work", home / "work/z/loop");

    UnclaimedSurvey survey = surveyUnclaimedIn(placeOf(home), {storeRule(home / "work/a/b/c/store")}, 2, 1);
    const UnclaimedEntry* work = rowFor(survey, home / "work");
    ASSERT_NE(work, nullptr);
    EXPECT_EQ(work->total, allocatedBytesBelow(home / "work"));
    EXPECT_FALSE(work->partial);
    for (const char* folder : {"work/a", "work/z", "work/a/b", "work/z/y"}) {
        const FolderSizes::Folder* measured = survey.folders.find(home / folder);
        ASSERT_NE(measured, nullptr) << folder;
        EXPECT_EQ(measured->bytes, allocatedBytesBelow(home / folder)) << folder;
    }
    const Hit* store = hitAt(survey, home / "work/a/b/c/store");
    ASSERT_NE(store, nullptr) << "a store deeper than the drill still has a size of its own";
    EXPECT_EQ(store->stat.bytes, allocatedBytesBelow(home / "work/a/b/c/store"));
    EXPECT_EQ(work->claimed, store->stat.bytes);
}

TEST(SurveyUnclaimed, ATreeFullyCoveredByRulesNeverAppearsHoweverLarge) {
    TempHome home;
    fill(home / ".tool/blobs/big.bin", 900 * KB);
    fill(home / ".tool/index.bin", 300 * KB);
    fill(home / ".tool/blobs/inner/more.bin", 200 * KB);
    fill(home / "loose/file.bin", 200 * KB);
    // The tree and a store nested in it: the nested one must not be counted twice.
    UnclaimedSurvey survey =
        surveyUnclaimedIn(placeOf(home), {storeRule(home / ".tool"), storeRule(home / ".tool/blobs/inner")}, 2, 1);
    EXPECT_EQ(rowFor(survey, home / ".tool"), nullptr);
    EXPECT_NE(rowFor(survey, home / "loose"), nullptr) << "the floor of 1 byte keeps every other tree";
}

TEST(SurveyUnclaimed, AMostlyClaimedTreeIsListedWithItsOwnersAndRankedByRemainder) {
    TempHome home;
    fill(home / ".big/cache/models.bin", 1800 * KB);
    fill(home / ".big/wheels/pkg.bin", 100 * KB);
    fill(home / ".big/notes/own.bin", 200 * KB);
    fill(home / ".small/own.bin", 300 * KB);
    fill(home / ".tiny/own.bin", 40 * KB);
    std::vector<ResolvedRule> rules = {storeRule(home / ".big/cache", "Models"), storeRule(home / ".big/wheels", "Wheels"),
                                       storeRule(home / ".big/not-there", "Absent")};
    UnclaimedSurvey survey = surveyUnclaimedIn(placeOf(home), rules, 2, 150 * KB);
    ASSERT_EQ(survey.rows.size(), 2u) << ".tiny is under the floor";
    EXPECT_EQ(survey.rows[0].path, home / ".small") << "ranked by what is left, not by the total";
    const UnclaimedEntry& big = survey.rows[1];
    EXPECT_EQ(big.path, home / ".big");
    EXPECT_EQ(big.claimed, allocatedBytesBelow(home / ".big/cache") + allocatedBytesBelow(home / ".big/wheels"));
    EXPECT_EQ(big.remainder(), allocatedBytesBelow(home / ".big/notes"));
    EXPECT_EQ(big.owners, (std::vector<std::string>{"Models", "Wheels"}));
}

TEST(SurveyUnclaimed, ThePersonsFoldersTheTrashAndLinksAreLeftAlone) {
    TempHome home;
    fill(home / "Documents/thesis.bin", 500 * KB);
    fill(home / "Library/Caches/x.bin", 500 * KB);
    fill(home / ".kelvor/quarantine/x.bin", 500 * KB);
    fill(home / "Clips/movie.bin", 500 * KB);
    writeFile(home / ".config/user-dirs.dirs", "XDG_VIDEOS_DIR=\"$HOME/Clips\"\n");
    fill(home / ".local/share/Trash/files/old.bin", 500 * KB);
    fill(home / ".local/share/app/data.bin", 60 * KB);
    fill(home / "elsewhere/big.bin", 500 * KB);
    fs::create_directory_symlink(home / "elsewhere", home / "shortcut");
    UnclaimedSurvey survey = surveyUnclaimedIn(placeOf(home), {storeRule(home / "Documents")}, 2, 1);
    const Hit* documents = hitAt(survey, home / "Documents");
    ASSERT_NE(documents, nullptr) << "a store the survey skips is still measured on its own";
    EXPECT_EQ(documents->stat.bytes, allocatedBytesBelow(home / "Documents"));
    for (const char* skipped : {"Documents", "Library", ".kelvor", "shortcut"})
        EXPECT_EQ(rowFor(survey, home / skipped), nullptr) << skipped;
#ifdef __linux__
    EXPECT_EQ(rowFor(survey, home / "Clips"), nullptr) << "named by user-dirs.dirs";
    const UnclaimedEntry* local = rowFor(survey, home / ".local");
    ASSERT_NE(local, nullptr);
    EXPECT_EQ(local->total, allocatedBytesBelow(home / ".local/share/app")) << "the Trash is not counted";
#endif
    EXPECT_NE(rowFor(survey, home / "elsewhere"), nullptr);
}

TEST(SurveyUnclaimed, AnUnlistableRootIsReportedAndAnUnreadableCornerMakesATreePartial) {
    TempHome home;
    fill(home / "locked/secret.bin", 500 * KB);
    fill(home / "mixed/open/seen.bin", 300 * KB);
    fill(home / "mixed/shut/unseen.bin", 300 * KB);
    // Root reads everything, so the survey runs as an ordinary user who may enter the rest.
    for (const std::string& folder : {home.path(), home / "mixed", home / "mixed/open"})
        fs::permissions(folder, fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                                    fs::perms::others_read | fs::perms::others_exec);
    fs::permissions(home / "mixed/open/seen.bin", fs::perms::owner_all | fs::perms::others_read);
    fs::permissions(home / "locked", fs::perms::none);
    fs::permissions(home / "mixed/shut", fs::perms::none);
    const SurveyPlace place = placeOf(home);
    std::optional<std::string> answer = runUnprivileged([&] {
        UnclaimedSurvey survey = surveyUnclaimedIn(place, {}, 2, 1);
        std::string out;
        for (const std::string& root : survey.unreadableRoots) out += "unreadable " + root + "\n";
        for (const UnclaimedEntry& row : survey.rows)
            out += "row " + row.path + " " + std::to_string(row.total) + (row.partial ? " partial" : "") + "\n";
        return out;
    });
    ASSERT_TRUE(answer.has_value());
    EXPECT_EQ(*answer, "unreadable " + home / "locked" + "\n" + "row " + home / "mixed" + " " +
                           std::to_string(allocatedBytesBelow(home / "mixed/open")) + " partial\n");
}

}  // namespace
}  // namespace kelvor
