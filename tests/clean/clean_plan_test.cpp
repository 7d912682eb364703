#include "quillet/clean/clean_plan.hpp"

#include <gtest/gtest.h>

namespace kelvor {
namespace {

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

}  // namespace
}  // namespace kelvor
