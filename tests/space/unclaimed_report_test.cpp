#include "quillet/space/unclaimed_report.hpp"

#include <gtest/gtest.h>

#include <filesystem>

#include "quillet/i18n/text.hpp"
#include "tests/support/language_scope.hpp"
#include "tests/support/run_kelvor.hpp"
#include "tests/support/temp_home.hpp"
#include "tests/support/unprivileged.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using testing::TempHome;

bool hasLine(const std::string& text, const std::string& line) { return ("\n" + text).find("\n" + line + "\n") != std::string::npos; }

TEST(RenderUnclaimed, AMostlyClaimedPartialTreeSaysWhoToExtendAndWhereTheRestSits) {
    UnclaimedEntry entry{"/home/ana/.ollama", 10'000'000, 9'000'000, {"Ollama", "pip"}, true};
    std::string text = renderUnclaimed({{entry, {{"/home/ana/.ollama/tmp", 800'000, 1}}}}, 50, false);
    for (const char* line : {"Unclaimed space — what no catalog rule accounts for",
                             "    1.0 MB  unclaimed of 10.0 MB   /home/ana/.ollama",
                             "               ↑ the walk did not finish here — at least this much, of at most that much",
                             "       90% already claimed by: Ollama, pip  ← extend these, do not start over",
                             "               └ 800.0 KB  in  /home/ana/.ollama/tmp", "  1 tree(s), 1.0 MB",
                             "  omission nobody wrote down. Both are worth an answer."})
        EXPECT_TRUE(hasLine(text, line)) << line << "\n" << text;
    EXPECT_EQ(text.find("Nothing over"), std::string::npos) << text;
}

TEST(RenderUnclaimed, AnUnclaimedFinishedTreeHasNoNotesAndNamesCannotDriveTheTerminal) {
    std::string text = renderUnclaimed(
        {{{"/home/ana/src", 3'000'000, 0, {}, false}, {}}, {{"/home/ana/evil\n\x1b[2Jname", 2'000'000, 0, {}, false}, {}}}, 1,
        false);
    EXPECT_EQ(text.find("already claimed"), std::string::npos) << text;
    EXPECT_EQ(text.find("did not finish"), std::string::npos) << text;
    EXPECT_TRUE(hasLine(text, "  2 tree(s), 5.0 MB")) << text;
    EXPECT_EQ(text.find('\x1b'), std::string::npos) << text;
    EXPECT_NE(text.find("/home/ana/evil\\n\\x1b[2Jname"), std::string::npos) << text;
}

TEST(RenderUnclaimed, NothingOverTheFloorIsWordedForWhatCouldBeReadInThePersonsLanguage) {
    std::string everything = renderUnclaimed({}, 50, false);
    EXPECT_TRUE(hasLine(everything, "  Nothing over 50 MB is unaccounted for.")) << everything;
    EXPECT_EQ(everything.find("tree(s)"), std::string::npos) << everything;
    std::string someUnread = renderUnclaimed({}, 50, true);
    EXPECT_TRUE(hasLine(someUnread, "  Nothing over 50 MB is unaccounted for IN WHAT COULD BE READ.")) << someUnread;
    testing::LanguageScope korean(AppLang::ko);
    std::string text = renderUnclaimed({}, 50, false);
    EXPECT_NE(text.find("미확인 공간"), std::string::npos) << text;
    EXPECT_EQ(text.find("Unclaimed space"), std::string::npos) << text;
}

TEST(RenderUnreadable, ListsEveryRootAndSaysNothingWhenThereAreNone) {
    EXPECT_EQ(renderUnreadable({}), "");
    std::string text = renderUnreadable({"/home/ana/locked", "/home/ana/shut"});
    for (const std::string& line : {std::string("2 root(s) exist but could not be listed — nothing"),
                                    std::string("  below them was surveyed, so this report says nothing about them:"),
                                    std::string("    /home/ana/locked"), std::string("    /home/ana/shut"),
                                    trf(S::unreadableRootsHint)})  // the desktop's own form of the hint
        EXPECT_TRUE(hasLine(text, line)) << line << "\n" << text;
}

TEST(UnclaimedMode, ListsATreeOverTheFloorAndTakesFiftyForZero) {
    TempHome home;
    testing::writeFile(home / "renders/frames.bin", std::string(2'200'000, 'r'));
    testing::RunOutput listed = testing::runKelvorMode("unclaimed", {"--min-mb", "1"});
    EXPECT_EQ(listed.status, 0) << listed.err;
    EXPECT_NE(listed.out.find("unclaimed of 2.2 MB   " + home / "renders"), std::string::npos) << listed.out;
    testing::RunOutput fifty = testing::runKelvorMode("unclaimed", {"--min-mb", "0"});
    EXPECT_EQ(fifty.status, 0) << fifty.err;
    EXPECT_NE(fifty.out.find("  Nothing over 50 MB is unaccounted for."), std::string::npos) << fifty.out;
}

TEST(UnclaimedMode, WithNothingToListAndAnUnreadableRootItSaysSoAndNamesTheRoot) {
    TempHome home;
    testing::writeFile(home / "locked/secret.bin", std::string(2'000'000, 's'));
    testing::writeFile(home / "small/note.txt", "a note");
    for (const std::string& open : {home.path(), home / "small"})
        fs::permissions(open, fs::perms::owner_all | fs::perms::others_read | fs::perms::others_exec);
    fs::permissions(home / "locked", fs::perms::none);
    // As root every folder reads, so the run drops to an ordinary user as a person's would be.
    std::optional<std::string> answer = testing::runUnprivileged([&] {
        testing::RunOutput run = testing::runKelvorMode("unclaimed", {"--min-mb", "1"});
        return std::to_string(run.status) + "\n" + run.out;
    });
    ASSERT_TRUE(answer.has_value());
    EXPECT_TRUE(answer->starts_with("0\n")) << *answer;
    EXPECT_TRUE(hasLine(*answer, "  Nothing over 1 MB is unaccounted for IN WHAT COULD BE READ.")) << *answer;
    EXPECT_TRUE(hasLine(*answer, "1 root(s) exist but could not be listed — nothing")) << *answer;
    EXPECT_TRUE(hasLine(*answer, "    " + home / "locked")) << *answer;
}

}  // namespace
}  // namespace kelvor
