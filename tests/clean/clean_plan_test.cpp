#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <set>

#include "quillet/clean/clean_plan.hpp"
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
    EXPECT_NE(run.out.find("dry-run — nothing moved. Run with --apply --yes\n"), std::string::npos);
    EXPECT_TRUE(run.err.empty()) << "no progress line when standard error is not a terminal";
    EXPECT_TRUE(fs::exists(home / ".npm/_cacache/content-v2/sha512/x"));

    auto applyOnly = testing::runKelvorBinary({"--mode", "clean", "--apply"}, environment);
    EXPECT_TRUE(applyOnly.out.starts_with("--apply without --yes: showing the plan only")) << applyOnly.out;
    EXPECT_TRUE(fs::exists(home / ".npm/_cacache/content-v2/sha512/x"));
}

TEST(CleanPlan, AnEmptyHomeHasNothingToClean) {
    TempHome home;
    auto run = testing::runKelvorBinary({"--mode", "clean"}, {"LANG=C", "LANGUAGE=", "SHELL=/nonexistent"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "Clean plan — targets: (verified only)\nNothing to clean.\n");
}

}  // namespace
}  // namespace kelvor
