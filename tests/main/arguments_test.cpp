#include <gtest/gtest.h>

#include "quillet/main/settings.hpp"
#include "quillet/scan/worker_count.hpp"

namespace kelvor {
namespace {

ParsedArguments parse(std::vector<std::string> args) {
    return parseArguments(args, SettingDefaults{"/home/ada", 8, false});
}

TEST(Arguments, DefaultsDependOnHowTheProgramStarted) {
    Settings s = parse({}).settings;
    EXPECT_EQ(s.root, "/home/ada");
    EXPECT_EQ(s.modes, TERMINAL_DEFAULT_MODES);
    EXPECT_EQ(s.threads, defaultWalkWorkers(8));
    EXPECT_EQ(parseArguments({}, SettingDefaults{"/home/ada", 8, true}).settings.modes, std::vector<std::string>{"gui"});
}

struct WalkCase {
    std::vector<std::string> args;
    std::function<bool(const Settings&)> holds;
    const char* what;
};

TEST(Arguments, WalkGivesTheSettingsOfEachList) {
    const WalkCase cases[] = {
        {{"--root", "/data", "--mode", "clean"},
         [](const Settings& s) { return s.root == "/data" && s.modes == std::vector<std::string>{"clean"}; },
         "root and mode"},
        {{"--root", "~/Models"}, [](const Settings& s) { return s.root == "/home/ada/Models"; }, "root under ~"},
        {{"--root", "~"}, [](const Settings& s) { return s.root == "/home/ada"; }, "root ~ alone"},
        {{"--root", "/data/~x"}, [](const Settings& s) { return s.root == "/data/~x"; }, "a ~ inside is a name"},
        {{"--mode", "dupes", "--mode", "unclaimed"},
         [](const Settings& s) { return s.modes == std::vector<std::string>{"unclaimed"}; }, "later mode wins"},
        {{"--threads", "3", "--threads", "5"},
         [](const Settings& s) { return s.threads == 5 && s.walkWorkers == exactWalkWorkers(5); },
         "later threads wins, and the walk runs exactly that many"},
        {{"--threads", "x"},
         [](const Settings& s) { return s.threads == defaultWalkWorkers(8) && s.walkWorkers == growingWalkWorkers(8); },
         "bad threads keeps the default, a walk that grows on a cold disk"},
        {{"--threads", "4x"}, [](const Settings& s) { return s.threads == defaultWalkWorkers(8); }, "partial number keeps the default"},
        {{"--min-mb", "0"}, [](const Settings& s) { return s.minMB == 0; }, "min-mb 0 is kept as given"},
        {{"--age-days", "-2"}, [](const Settings& s) { return s.ageDays == -2; }, "negative age"},
        {{"--mode"}, [](const Settings& s) { return s.modes == TERMINAL_DEFAULT_MODES; }, "value option at the end"},
        {{"--mode", "clean", "--owner"}, [](const Settings& s) { return !s.cleanOwner; }, "owner at the end"},
        {{"--apply", "--yes", "--force", "--include-unverified", "--dedupe", "--no-cache"},
         [](const Settings& s) {
             return s.cleanApply && s.cleanYes && s.cleanForce && s.cleanUnverified && s.dedupeFlag && !s.useCache;
         },
         "flags"},
        {{"-h"}, [](const Settings& s) { return s.wantHelp; }, "short help"},
        {{"--owner", "Xcode", "--path", "~/x", "--dest", "/v", "--out", "/o.png", "--lang", "ko"},
         [](const Settings& s) {
             return s.cleanOwner == "Xcode" && s.explicitPath == "~/x" && s.destPath == "/v" &&
                    s.renderPath == "/o.png" && s.langOverride == "ko";
         },
         "value options"},
        {{"--bogus", "--mode", "i18n", "stray"},
         [](const Settings& s) { return s.modes == std::vector<std::string>{"i18n"}; }, "unknown words skipped"},
        {{"--mode", "--apply"},
         [](const Settings& s) { return s.modes == std::vector<std::string>{"--apply"} && !s.cleanApply; },
         "a value option takes the next word whatever it is"},
        {{"--undo"}, [](const Settings& s) { return s.undoTarget == "last" && s.modes == std::vector<std::string>{"clean"}; },
         "bare undo is a clean undo of the last run"},
        {{"--undo", "--tier", "A"},
         [](const Settings& s) { return s.undoTarget == "last" && s.cleanTiers == std::set<Tier>{Tier::redownload}; },
         "undo before an option takes last"},
        {{"--undo", "/m.json"}, [](const Settings& s) { return s.undoTarget == "/m.json"; }, "undo with a path"},
        {{"--mode", "quarantine", "--undo", "last"},
         [](const Settings& s) { return s.modes == std::vector<std::string>{"quarantine"} && s.undoTarget == "last"; },
         "undo keeps a named mode"},
        {{"--tier", "ab"},
         [](const Settings& s) { return s.cleanTiers == std::set<Tier>{Tier::redownload, Tier::regenerate}; },
         "tier is upper-cased"},
        {{"--style", "bars"}, [](const Settings& s) { return s.style == "bars"; }, "style"},
    };
    for (const WalkCase& c : cases) {
        SCOPED_TRACE(::testing::PrintToString(c.args));
        ParsedArguments parsed = parse(c.args);
        EXPECT_TRUE(c.holds(parsed.settings)) << c.what;
        EXPECT_FALSE(parsed.badTier || parsed.badStyle);
    }
}

TEST(Arguments, BadTierAndStyleAreReportedAfterTheWalk) {
    EXPECT_EQ(parse({"--tier", "Q"}).badTier, "Q");
    EXPECT_EQ(parse({"--tier", "C"}).badTier, "C");
    EXPECT_FALSE(parse({"--tier", "Q", "--tier", "A"}).badTier);
    EXPECT_EQ(parse({"--style", "pie"}).badStyle, "pie");
    EXPECT_EQ(parse({"--style", "pie"}).settings.style, "treemap");
}

TEST(Arguments, ThreadsStayBetweenOneAndSixtyFourPerProcessor) {
    ParsedArguments huge = parse({"--threads", "1000000"});
    EXPECT_EQ(huge.settings.threads, 8 * THREADS_PER_PROCESSOR_LIMIT);
    EXPECT_EQ(huge.threadsOutOfRange, "1000000");
    EXPECT_EQ(parse({"--threads", "0"}).settings.threads, 1);
    EXPECT_EQ(parse({"--threads", "-4"}).threadsOutOfRange, "-4");
    ParsedArguments most = parse({"--threads", std::to_string(8 * THREADS_PER_PROCESSOR_LIMIT)});
    EXPECT_EQ(most.settings.threads, 8 * THREADS_PER_PROCESSOR_LIMIT);
    EXPECT_FALSE(most.threadsOutOfRange);
    EXPECT_FALSE(parse({"--threads", "0", "--threads", "2"}).threadsOutOfRange) << "the later value stands";
}

TEST(Arguments, AGivenRootIsMarkedForChecking) {
    EXPECT_FALSE(parse({}).rootGiven);
    EXPECT_FALSE(parse({"--root"}).rootGiven) << "no value, nothing given";
    ParsedArguments empty = parse({"--root", ""});
    EXPECT_TRUE(empty.rootGiven);
    EXPECT_EQ(empty.settings.root, "");
}

TEST(Arguments, RemoveRootTakesEveryLaterArgumentAsAPath) {
    ParsedArguments parsed = parse({"--mode", "clean", "--remove-root", "/a", "--help", "/b"});
    EXPECT_TRUE(parsed.removeRoot);
    EXPECT_EQ(parsed.removeRootPaths, (std::vector<std::string>{"/a", "--help", "/b"}));
}

}  // namespace
}  // namespace kelvor
