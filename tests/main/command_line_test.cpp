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

TEST(CommandLine, BadTierAndStyleExitWithTheirStatus) {
    TempHome home;
    auto tier = runKelvorBinary({"--tier", "Q"}, {"LANG=C", "LANGUAGE="});
    EXPECT_EQ(tier.status, 1);
    EXPECT_EQ(tier.out, "✗ --tier takes A, B or AB — not Q\n");
    auto style = runKelvorBinary({"--style", "x"}, {"LANG=C", "LANGUAGE="});
    EXPECT_EQ(style.status, 2);
    EXPECT_EQ(style.out, "✗ --style takes one of treemap, bars, icicle, sunburst, all — not x\n");
}

TEST(CommandLine, ARootThatIsNoFolderIsRefusedWithASentence) {
    TempHome home;
    testing::writeFile(home / "file.txt", "x");
    const std::vector<std::string> english = {"LANG=C", "LANGUAGE="};
    auto missing = runKelvorBinary({"--mode", "fm", "--root", home / "nowhere"}, english);
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.out, "✗ --root " + (home / "nowhere") + ": no such folder\n");
    auto file = runKelvorBinary({"--mode", "fm", "--root", home / "file.txt"}, english);
    EXPECT_EQ(file.status, 1);
    EXPECT_EQ(file.out, "✗ --root " + (home / "file.txt") + " is not a folder\n");
    auto empty = runKelvorBinary({"--mode", "fm", "--root", ""}, english);
    EXPECT_EQ(empty.status, 1);
    EXPECT_EQ(empty.out, "✗ --root needs a folder — it was given an empty value\n");
    auto forged = runKelvorBinary({"--root", "/x\n2026-01-01T00:00:00Z  [scan] fake"}, english);
    EXPECT_EQ(forged.out, "✗ --root /x\\n2026-01-01T00:00:00Z  [scan] fake: no such folder\n");
    auto german = runKelvorBinary({"--root", home / "nowhere", "--lang", "de"});
    EXPECT_EQ(german.out, "✗ --root " + (home / "nowhere") + ": kein solcher Ordner\n");
}

TEST(CommandLine, AWorkerCountOutsideTheLimitIsRefused) {
    TempHome home;
    std::filesystem::create_directories(home / "tree/a");
    auto run = runKelvorBinary({"--mode", "fm", "--root", home / "tree", "--threads", "1000000"}, {"LANG=C", "LANGUAGE="});
    EXPECT_EQ(run.status, 2) << run.err;
    EXPECT_NE(run.err.find("--threads 1000000 is outside 1 to "), std::string::npos) << run.err;
    EXPECT_EQ(run.out, "") << "nothing runs with a count no machine can serve";
    auto zero = runKelvorBinary({"--mode", "fm", "--root", home / "tree", "--threads", "0"}, {"LANG=C", "LANGUAGE="});
    EXPECT_EQ(zero.status, 2) << zero.err;
}

TEST(CommandLine, UnknownModeIsReportedAndExitsZero) {
    TempHome home;
    auto run = runKelvorBinary({"--mode", "nosuch"}, {"LANG=C", "LANGUAGE=", "LC_ALL="});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "unknown mode nosuch\n");
}

TEST(CommandLine, ModesOutsideThisBuildSaySoAndExitTwo) {
    TempHome home;
    auto run = runKelvorBinary({"--mode", "gui"}, {"LANG=C", "LANGUAGE="});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.out, "--mode gui is not available in this build\n");
}

TEST(CommandLine, LanguageComesFromOptionEnvironmentThenSystem) {
    TempHome home;
    struct Case {
        std::vector<std::string> args;
        std::vector<std::string> environment;
        std::string expected;
    };
    const Case cases[] = {
        {{"--mode", "nosuch"}, {"GLIMSTER_LANG=ko", "LANG=C"}, "알 수 없는 모드 nosuch\n"},
        {{"--mode", "nosuch"}, {"LANG=de_DE.UTF-8", "LANGUAGE=", "LC_ALL="}, "unbekannter Modus nosuch\n"},
        {{"--lang", "fr", "--mode", "nosuch"}, {"GLIMSTER_LANG=de", "LANG=ja_JP.UTF-8"}, "mode inconnu nosuch\n"},
        {{"--lang", "kr", "--mode", "nosuch"}, {"LANG=ko_KR.UTF-8", "LANGUAGE=", "LC_ALL="}, "알 수 없는 모드 nosuch\n"},
        {{"--mode", "nosuch"}, {"LANGUAGE=xx:pl_PL", "LANG=de_DE.UTF-8"}, "nieznany tryb nosuch\n"},
        {{"--mode", "nosuch"}, {"LANG=C", "LANGUAGE=", "LC_ALL="}, "unknown mode nosuch\n"},
    };
    for (const Case& c : cases) {
        auto run = runKelvorBinary(c.args, c.environment);
        EXPECT_EQ(run.out, c.expected) << c.environment.front();
    }
}

TEST(CommandLine, SavedLanguagePreferenceIsUsedUnlessSystem) {
    TempHome home;
    testing::writeFile(home / ".kelvor/defaults.json", R"({"kelvor.lang": "es"})");
    EXPECT_EQ(runKelvorBinary({"--mode", "nosuch"}, {"LANG=de_DE.UTF-8"}).out, "modo desconocido nosuch\n");
    testing::writeFile(home / ".kelvor/defaults.json", R"({"kelvor.lang": "system"})");
    EXPECT_EQ(runKelvorBinary({"--mode", "nosuch"}, {"LANG=de_DE.UTF-8", "LANGUAGE=", "LC_ALL="}).out,
              "unbekannter Modus nosuch\n");
}

}  // namespace
}  // namespace kelvor
