#include <gtest/gtest.h>

#include "quillet/main/help.hpp"
#include "tests/support/run_kelvor.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

using testing::runKelvorBinary;
using testing::TempHome;

TEST(CommandLine, HelpIsPrintedExactlyWhateverElseIsOnTheLine) {
    TempHome home;
    for (auto args : {std::vector<std::string>{"--help"}, {"-h"}, {"--mode", "clean", "--apply", "--yes", "-h"},
                      {"--tier", "Q", "--help"}}) {
        auto run = runKelvorBinary(args);
        EXPECT_EQ(run.status, 0) << args.front();
        EXPECT_EQ(run.out, HELP_TEXT) << args.front();
    }
    EXPECT_FALSE(std::filesystem::exists(home / ".kelvor")) << "help writes nothing";
}

TEST(CommandLine, WhatCannotRunIsSaidInOneSentenceWithItsStatus) {
    TempHome home;
    testing::writeFile(home / "file.txt", "x");
    std::filesystem::create_directories(home / "tree/a");
    const std::string nowhere = home / "nowhere";
    struct Case {
        std::vector<std::string> args;
        int status;
        std::string out;
        std::string errHas = "";
    };
    const Case cases[] = {
        {{"--tier", "Q"}, 1, "✗ --tier takes A, B or AB — not Q\n"},
        {{"--style", "x"}, 2, "✗ --style takes one of treemap, bars, icicle, sunburst, all — not x\n"},
        {{"--mode", "fm", "--root", nowhere}, 1, "✗ --root " + nowhere + ": no such folder\n"},
        {{"--mode", "fm", "--root", home / "file.txt"}, 1, "✗ --root " + (home / "file.txt") + " is not a folder\n"},
        {{"--mode", "fm", "--root", ""}, 1, "✗ --root needs a folder — it was given an empty value\n"},
        {{"--root", "/x\n2026-01-01T00:00:00Z  [scan] fake"}, 1,
         "✗ --root /x\\n2026-01-01T00:00:00Z  [scan] fake: no such folder\n"},
        {{"--root", nowhere, "--lang", "de"}, 1, "✗ --root " + nowhere + ": kein solcher Ordner\n"},
        // Nothing runs with a worker count no machine can serve.
        {{"--mode", "fm", "--root", home / "tree", "--threads", "1000000"}, 2, "", "--threads 1000000 is outside 1 to "},
        {{"--mode", "fm", "--root", home / "tree", "--threads", "0"}, 2, "", "--threads 0 is outside 1 to "},
        {{"--mode", "nosuch"}, 0, "unknown mode nosuch\n"},
        {{"--mode", "gui"}, 2, "--mode gui is not available in this build\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::PrintToString(c.args));
        auto run = runKelvorBinary(c.args);
        EXPECT_EQ(run.status, c.status) << run.err;
        EXPECT_EQ(run.out, c.out);
        EXPECT_NE(run.err.find(c.errHas), std::string::npos) << run.err;
    }
}

// The order of the sources is the resolver's (tests/i18n); --lang reaches the program above.
TEST(CommandLine, TheSystemLanguageReachesTheProgram) {
    TempHome home;
    EXPECT_EQ(runKelvorBinary({"--mode", "nosuch"}, {"LANG=de_DE.UTF-8"}).out, "unbekannter Modus nosuch\n");
}

}  // namespace
}  // namespace kelvor
