// The pasteable undo command: one shell word per part, whatever the path holds.
#include <gtest/gtest.h>

#include "quillet/automation/undo_command.hpp"
#include "tests/support/run_program.hpp"

namespace kelvor {
namespace {

TEST(ShellWord, QuotesWhatAShellWouldSplitOrExpandAndLeavesPlainPathsAlone) {
    EXPECT_EQ(shellWord("/usr/local/bin/kelvor"), "/usr/local/bin/kelvor");
    EXPECT_EQ(shellWord(""), "''");
    // The shell itself reads each quoted word back as the text it was made from.
    for (std::string text : {"a b", "it's", "$(rm x)", "`x`", "semi;colon", "new\nline", "'", "*?[", "~home"}) {
        testing::RunOutput run = testing::runProgram({"/bin/sh", "-c", "printf %s " + shellWord(text)}, "");
        EXPECT_EQ(run.out, text) << text;
    }
}

TEST(UndoCommand, NamesThisProgramAndTheRecordWhenGiven) {
    EXPECT_TRUE(undoCommand().ends_with(" --mode clean --undo"));
    EXPECT_TRUE(undoCommand(std::string("/home/a b/.kelvor/undo/r.json"))
                    .ends_with(" --mode clean --undo '/home/a b/.kelvor/undo/r.json'"));
}

}  // namespace
}  // namespace kelvor
