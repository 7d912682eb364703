#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <set>
#include <thread>

#include "quillet/clean/clean_plan.hpp"
#include "quillet/log/log.hpp"
#include "quillet/platform/login_shell.hpp"
#include "tests/support/run_kelvor.hpp"
#include "tests/support/disk_usage.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using testing::allocatedBytesBelow;
using testing::TempHome;
using testing::writeFile;

Hit hitOf(std::string owner, Tier tier, bool verified, std::string path, std::uint64_t bytes) {
    Hit hit;
    hit.rule = Rule{.owner = std::move(owner), .component = "모델", .tier = tier, .verified = verified};
    hit.path = std::move(path);
    hit.stat.bytes = bytes;
    return hit;
}

TEST(CleanPlan, TakesTheChosenTiersVerifiedRowsAndOwner) {
    std::vector<Hit> hits = {hitOf("Ollama", Tier::redownload, true, "/a", 1), hitOf("Xcode", Tier::regenerate, true, "/b", 2),
                             hitOf("Codex", Tier::review, true, "/c", 3), hitOf("Pinokio", Tier::regenerate, false, "/d", 4)};
    auto paths = [](const std::vector<CleanTarget>& targets) {
        std::string out;
        for (const auto& target : targets) out += target.path;
        return out;
    };
    EXPECT_EQ(paths(planFromHits(hits, {})), "/a/b");
    EXPECT_EQ(paths(planFromHits(hits, {{Tier::regenerate}, false, std::nullopt})), "/b");
    EXPECT_EQ(paths(planFromHits(hits, {{Tier::redownload, Tier::regenerate}, true, std::nullopt})), "/a/b/d");
    EXPECT_EQ(paths(planFromHits(hits, {{Tier::redownload, Tier::regenerate}, false, "xcode"})), "/b");
}

TEST(CleanPlan, LinesCarryLabelSizeAndPathInColumns) {
    std::vector<Hit> hits = {hitOf("Ollama", Tier::redownload, true, "/m/blobs", 1536000)};
    std::string plan = renderCleanPlan(planFromHits(hits, {}), {});
    // The label takes 44 columns, the size 11, then the path.
    EXPECT_EQ(plan, "Clean plan — targets: (verified only)\n"
                    "  [A] Ollama · Models" + std::string(44 - 19, ' ') + " 1.5 MB" + std::string(11 - 6, ' ') +
                        " /m/blobs\n");
    EXPECT_EQ(renderCleanPlan({}, {{}, true, std::nullopt}),
              "Clean plan — targets: (including safety-unverified)\nNothing to clean.\n");
}

TEST(CleanPlan, PathsPrintWithTheirControlCharactersEscaped) {
    Hit hit = hitOf("Ollama", Tier::redownload, true, "/m/\x1b]0;owned\x07\rfake", 1);
    hit.linkedFrom = "/home/ada/link\n";
    std::string plan = renderCleanPlan(planFromHits({hit}, {}), {});
    EXPECT_EQ(plan.find('\x1b'), std::string::npos) << plan;
    EXPECT_EQ(plan.find('\r'), std::string::npos) << plan;
    EXPECT_NE(plan.find(" /m/\\x1b]0;owned\\x07\\rfake\n"), std::string::npos) << plan;
    EXPECT_NE(plan.find("/home/ada/link\\n"), std::string::npos) << plan;
}

TEST(CleanPlan, AChosenFolderNamesTheCatalogItemsItWouldSwallow) {
    std::vector<Hit> hits = {hitOf("Pinokio", Tier::regenerate, true, "/p/cache", 10),
                             hitOf("HuggingFace", Tier::redownload, false, "/p/cache/hf", 20),
                             hitOf("Torch", Tier::review, true, "/p/cache/torch", 5),
                             hitOf("Other", Tier::regenerate, true, "/p/cache-old", 5)};
    std::vector<CleanTarget> plan = planFromHits(hits, {});
    ASSERT_EQ(plan.size(), 2u);
    EXPECT_EQ(plan[0].swallowed, (std::vector<std::string>{"/p/cache/hf", "/p/cache/torch"}));
    EXPECT_TRUE(plan[1].swallowed.empty()) << "a sibling with a longer name is not inside";
    EXPECT_NE(renderCleanPlan(plan, {}).find("2 other catalog item(s) live inside this folder and are not part of this "
                                             "run — /p/cache/hf, /p/cache/torch"),
              std::string::npos);
    plan = planFromHits(hits, {{Tier::redownload, Tier::regenerate}, true, std::nullopt});
    EXPECT_EQ(plan[0].swallowed, std::vector<std::string>{"/p/cache/torch"}) << "an item in the run is not swallowed";
}

TEST(CleanPlan, CommandLineListsTheStoresOfTheHomeFolderAndMovesNothing) {
    TempHome home;
    writeFile(home / ".cache/huggingface/hub/models--tiny/snapshots/a/model.safetensors", std::string(70000, 'w'));
    writeFile(home / ".cache/huggingface/hub/models--tiny/blobs/b", std::string(5000, 'b'));
    fs::create_hard_link(home / ".cache/huggingface/hub/models--tiny/blobs/b",
                         home / ".cache/huggingface/hub/models--tiny/blobs/b-again");
    writeFile(home / ".npm/_cacache/content-v2/sha512/x", std::string(123456, 'n'));
    std::vector<std::string> environment = {"LANG=C", "LANGUAGE=", "LC_ALL=", "SHELL=/nonexistent", "HF_HOME=", "npm_config_cache="};

    auto run = testing::runKelvorBinary({"--mode", "clean"}, environment);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(run.out.starts_with("Clean plan — targets: (verified only)\n")) << run.out;
    for (const char* store : {".cache/huggingface/hub", ".npm/_cacache"}) {
        std::string path = home / store;
        size_t line = run.out.find(path + "\n");
        ASSERT_NE(line, std::string::npos) << store << "\n" << run.out;
        size_t start = run.out.rfind('\n', line) + 1;
        std::string row = run.out.substr(start, line - start);
        double shown = 0;
        char unit[4] = {};
        ASSERT_EQ(std::sscanf(row.c_str() + row.find("· ") , "%*[^0-9]%lf %3s", &shown, unit), 2) << row;
        double expected = static_cast<double>(allocatedBytesBelow(path)) / 1000.0;
        EXPECT_STREQ(unit, "KB") << row;
        EXPECT_NEAR(shown, expected, 0.05) << row;
    }
    // Written a moment ago, the stores are blocked by the recent-write guard: the closing line says
    // how to force them.
    EXPECT_NE(run.out.find("dry-run — nothing moved. Run with --apply --yes, force blocked items with --apply --yes --force\n"),
              std::string::npos)
        << run.out;
    EXPECT_TRUE(run.err.empty()) << "no progress line when standard error is not a terminal";
    EXPECT_TRUE(fs::exists(home / ".npm/_cacache/content-v2/sha512/x"));

    auto applyOnly = testing::runKelvorBinary({"--mode", "clean", "--apply"}, environment);
    EXPECT_TRUE(applyOnly.out.starts_with("--apply without --yes: showing the plan only")) << applyOnly.out;
    EXPECT_TRUE(fs::exists(home / ".npm/_cacache/content-v2/sha512/x"));
}

// True while any process still runs with `marker` in its command line.
bool anyProcessCarries(const std::string& marker) {
    for (const auto& entry : fs::directory_iterator("/proc")) {
        std::string command = testing::readFile(entry.path() / "cmdline");
        std::replace(command.begin(), command.end(), '\0', ' ');
        if (command.find(marker) != std::string::npos) return true;
    }
    return false;
}

TEST(CleanPlan, AStubbornLoginProfileNeitherHoldsTheRunNorOutlivesIt) {
    TempHome home;
    const std::string marker = "kelvor-profile-job-" + std::to_string(::getpid());
    std::string job = home / marker;
    writeFile(job, "#!/bin/sh\nsleep 20\n");
    fs::permissions(job, fs::perms::owner_all);
    struct Case {
        std::string what;
        std::string profile;
        std::string logged;
    };
    const Case cases[] = {
        {"sleeps after closing its output", "exec >&-\n'" + job + "'\n", "not read — timed out"},
        {"starts a background job", "'" + job + "' &\nprintf 'PIXI_HOME=/pixi\\0'\n", "1 relocation variable(s)"},
        {"prints without end", "yes PIXI_HOME=/pixi\n", "not read — too much output"},
    };
    for (const Case& c : cases) {
        std::string shell = home / "shell";
        writeFile(shell, "#!/bin/sh\n" + c.profile);
        fs::permissions(shell, fs::perms::owner_all);
        auto started = std::chrono::steady_clock::now();
        auto run = testing::runKelvorBinary({"--mode", "clean"}, {"LANG=C", "LANGUAGE=", "SHELL=" + shell, "PIXI_HOME="});
        auto took = std::chrono::steady_clock::now() - started;
        EXPECT_EQ(run.status, 0) << c.what << run.err;
        EXPECT_LT(took, LOGIN_SHELL_TIME_LIMIT + std::chrono::seconds(1)) << c.what;
        for (int tries = 0; tries < 100 && anyProcessCarries(marker); ++tries)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        EXPECT_FALSE(anyProcessCarries(marker)) << c.what << ": the profile's processes ended with the read";
        EXPECT_NE(testing::readFile(KelvorLog::logPath()).find("login shell " + shell + ": " + c.logged), std::string::npos)
            << c.what << "\n" << testing::readFile(KelvorLog::logPath());
        fs::remove(KelvorLog::logPath());
    }
}

TEST(CleanPlan, AnEmptyHomeHasNothingToClean) {
    TempHome home;
    auto run = testing::runKelvorBinary({"--mode", "clean"}, {"LANG=C", "LANGUAGE=", "SHELL=/nonexistent"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "Clean plan — targets: (verified only)\nNothing to clean.\n");
}

TEST(CleanPlan, AnUnreadableExclusionListIsSaidAndEndsNonZero) {
    TempHome home;
    writeFile(home / ".kelvor/excluded.json", "[not json");
    auto run = testing::runKelvorBinary({"--mode", "clean"}, {"LANG=C", "LANGUAGE=", "SHELL=/nonexistent"});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("the exclusion list " + (home / ".kelvor/excluded.json") + " exists but could not be read"),
              std::string::npos)
        << run.err;
}

}  // namespace
}  // namespace kelvor
