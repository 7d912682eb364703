#include "quillet/rules/hits.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "quillet/clean/clean_plan.hpp"
#include "quillet/log/log.hpp"
#include "quillet/space/exclusions.hpp"
#include "tests/support/disk_usage.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using testing::allocatedBytesBelow;
using testing::TempHome;
using testing::writeFile;

constexpr std::uint64_t GB = 1000ull * 1000 * 1000;

Rule folderRule(std::string owner, std::string sub) {
    return Rule{.owner = std::move(owner), .component = "모델", .sub = std::move(sub), .tier = Tier::redownload, .verified = true};
}

ResolvedRule resolvedAt(Rule rule, std::string path) { return {std::move(rule), std::move(path), std::nullopt, std::nullopt}; }

Hit hitOf(const std::string& path, std::uint64_t bytes, std::uint64_t shared = 0) {
    Hit hit{folderRule("Tool", ""), {}, std::nullopt, path, std::nullopt, {}};
    hit.stat.bytes = bytes;
    hit.stat.shared = shared;
    return hit;
}

size_t countInLog(const std::string& needle) {
    KelvorLog::drain();
    std::string text = testing::readFile(KelvorLog::logPath());
    size_t count = 0;
    for (size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1)) ++count;
    return count;
}

TreeStat measuredOnDisk(const std::string& path, int threads) { return measureTree(path, threads, std::chrono::seconds(30)); }

TEST(ClaimedOnce, TwoRulesOnOnePathGiveOneEntryAndOneLogLine) {
    TempHome home;
    std::vector<ResolvedRule> resolved = {resolvedAt(folderRule("First", "m"), home / "m"),
                                          resolvedAt(folderRule("Second", "m"), home / "m"),
                                          resolvedAt(folderRule("Third", "n"), home / "n")};
    std::vector<ResolvedRule> kept = claimedOnce(resolved);
    ASSERT_EQ(kept.size(), 2u);
    EXPECT_EQ(kept[0].rule.owner, "First") << "the first rule in catalog order keeps the path";
    EXPECT_EQ(countInLog("claimed once: 1 of your files sit inside a store or folder another row already counts"), 1u);
    claimedOnce({resolved[2]});
    EXPECT_EQ(countInLog("claimed once:"), 1u) << "nothing dropped, nothing logged";
}

TEST(DedupeNested, FoldersLoseTheBytesOfHitsInsideThem) {
    TempHome home;
    std::vector<Hit> hits = dedupeNested({hitOf("/s/models", 10 * GB, 9 * GB), hitOf("/s/models/hub", 3 * GB),
                                          hitOf("/s/models-old", 2 * GB)});
    EXPECT_EQ(hits[0].stat.bytes, 7 * GB);
    EXPECT_EQ(hits[0].stat.shared, 7 * GB) << "shared bytes never exceed the bytes";
    EXPECT_EQ(hits[1].stat.bytes, 3 * GB);
    EXPECT_EQ(hits[2].stat.bytes, 2 * GB) << "a sibling with a longer name is not inside";
    EXPECT_EQ(countInLog("nested: Tool — 모델 drops 3.0 GB already claimed by a deeper rule"), 1u);

    hits = dedupeNested({hitOf("/s/a", 1 * GB), hitOf("/s/a/b", 4 * GB), hitOf("/s/a/b/c", 1 * GB)});
    ASSERT_EQ(hits.size(), 3u);
    EXPECT_EQ(hits[0].stat.bytes, 0u) << "a contained hit larger than its folder brings it to 0";
    EXPECT_EQ(hits[1].stat.bytes, 3 * GB);
}

TEST(CollectHits, DropsEmptyExcludedAndOwnStoresAndKeepsOrder) {
    TempHome home;
    for (const char* folder : {"a", "b", "empty", "excluded", ".kelvor/cache", "slow"}) fs::create_directories(home / folder);
    std::vector<ResolvedRule> resolved;
    for (const char* folder : {"a", "empty", "excluded", ".kelvor/cache", "missing", "b", "slow"})
        resolved.push_back(resolvedAt(folderRule(folder, folder), home / folder));
    ASSERT_TRUE(Exclusions::shared().add(home / "excluded"));
    TreeMeasure measure = [&](const std::string& path, int) {
        TreeStat stat;
        if (path == home / "slow") stat.timedOut = true;
        else if (path != home / "empty") stat.bytes = 5 * GB;
        return stat;
    };
    std::vector<std::string> seen;
    std::vector<MeasureProgress> steps;
    HitCallbacks callbacks{[&](const Hit& hit) { seen.push_back(hit.rule.owner); },
                           [&](const MeasureProgress& step) { steps.push_back(step); }};
    std::vector<Hit> hits = collectHitsFrom(resolved, 2, callbacks, measure);
    std::vector<std::string> owners;
    for (const Hit& hit : hits) owners.push_back(hit.rule.owner);
    EXPECT_EQ(owners, (std::vector<std::string>{"a", "b", "slow"}));
    EXPECT_TRUE(hits[2].stat.timedOut) << "a store not measured in time is still a hit";
    EXPECT_EQ(seen, (std::vector<std::string>{"a", "excluded", ".kelvor/cache", "b", "slow"}));
    ASSERT_EQ(steps.size(), resolved.size());
    EXPECT_EQ(steps.back().storesDone, resolved.size());
    EXPECT_EQ(steps.back().bytesSoFar, 20 * GB);
}

TEST(CollectHits, AnExcludedFolderInsideAStoreBlocksItAndLeavesItsBytesOut) {
    TempHome home;
    const std::string store = home / ".config/google-chrome", excluded = store + "/Default/Cache/Cache_Data";
    writeFile(excluded + "/data_1", std::string(70000, 'c'));
    writeFile(store + "/Default/Code Cache/js/index", std::string(30000, 'j'));
    ASSERT_TRUE(Exclusions::shared().add(excluded));
    std::vector<ResolvedRule> resolved = {resolvedAt(folderRule("Chrome", ".config/google-chrome"), store)};
    std::vector<Hit> hits = collectHitsFrom(resolved, 2, {}, measuredOnDisk);
    ASSERT_EQ(hits.size(), 1u) << "the store stays in the list";
    EXPECT_EQ(hits[0].excludedInside, std::vector<std::string>{excluded});
    EXPECT_EQ(hits[0].stat.bytes, allocatedBytesBelow(store) - allocatedBytesBelow(excluded));

    std::vector<CleanTarget> plan = planFromHits(hits, {});
    ASSERT_EQ(plan.size(), 1u);
    EXPECT_TRUE(plan[0].blocked());
    std::string printed = renderCleanPlan(plan, {});
    for (const std::string& part : {std::string("Nothing to clean."), std::string("   guard-blocked:\n"),
                                    "holds " + excluded + ", which you asked never to be offered"})
        EXPECT_NE(printed.find(part), std::string::npos) << part << "\n" << printed;

    // A nested store around the excluded folder: every byte but the excluded ones counted once.
    resolved.push_back(resolvedAt(folderRule("Chrome", "Default/Cache"), store + "/Default/Cache"));
    writeFile(store + "/Default/Cache/index", std::string(9000, 'i'));
    hits = collectHitsFrom(resolved, 2, {}, measuredOnDisk);
    ASSERT_EQ(hits.size(), 2u);
    EXPECT_EQ(hits[0].stat.bytes + hits[1].stat.bytes, allocatedBytesBelow(store) - allocatedBytesBelow(excluded));
    EXPECT_FALSE(hits[1].excludedInside.empty()) << "the nested store is blocked too";

    resolved.pop_back();
    ASSERT_TRUE(Exclusions::shared().remove(excluded));
    hits = collectHitsFrom(resolved, 2, {}, measuredOnDisk);
    ASSERT_EQ(hits.size(), 1u);
    EXPECT_TRUE(hits[0].excludedInside.empty()) << "nothing excluded inside any more";
    EXPECT_EQ(hits[0].stat.bytes, allocatedBytesBelow(store));
}

TEST(CollectHits, EvidenceMustHoldAtThePath) {
    TempHome home;
    fs::create_directories(home / "folder");
    writeFile(home / "file.toml", "x");
    std::string someoneElses = "/etc";
    if (::geteuid() == 0) {
        fs::create_directories(home / "theirs");
        ASSERT_EQ(::chown((home / "theirs").c_str(), 65534, 65534), 0);
        someoneElses = home / "theirs";
    }
    Rule folder = folderRule("Tool", "folder"), file = folderRule("Tool", "file.toml");
    file.kind = StoreKind::file;
    const std::tuple<const Rule&, std::string, bool> cases[] = {
        {folder, home / "folder", true},
        {folder, home / "file.toml", false},  // a folder rule does not claim a file
        {file, home / "file.toml", true},
        {file, home / "folder", false},
        {folder, home.path(), false},  // never the home folder itself
        {folder, fs::path(home.path()).parent_path().string(), false},  // nor above it
        {folder, home / "absent", false},
        {folder, someoneElses, false},  // not the person's own
    };
    for (const auto& [rule, path, holds] : cases) EXPECT_EQ(ruleEvidenceHolds(rule, path), holds) << rule.sub << " at " << path;
}

TEST(CollectHits, CatalogStoresOnAFakeHome) {
    TempHome home;
    writeFile(home / "disk/hub/models--x/blob", std::string(50000, 'h'));
    fs::create_directories(home / ".cache/huggingface");
    fs::create_directory_symlink(home / "disk/hub", home / ".cache/huggingface/hub");
    std::vector<Hit> hits = collectHits(2);
    std::map<std::string, const Hit*> byPath;
    for (const Hit& hit : hits) byPath[hit.path] = &hit;
    ASSERT_TRUE(byPath.contains(home / "disk/hub")) << "a store moved behind a link is measured where it really is";
    EXPECT_EQ(byPath[home / "disk/hub"]->linkedFrom, home / ".cache/huggingface/hub") << "and the hit says so";
    EXPECT_EQ(byPath[home / "disk/hub"]->stat.bytes, allocatedBytesBelow(home / "disk/hub"));

    // HF_HOME elsewhere: the HuggingFace hits are found there, shown as moved.
    writeFile(home / "elsewhere/hub/blob", std::string(4096, 'e'));
    home.setEnv("HF_HOME", home / "elsewhere");
    hits = collectHits(2);
    auto hub = std::find_if(hits.begin(), hits.end(), [&](const Hit& hit) { return hit.path == home / "elsewhere/hub"; });
    ASSERT_NE(hub, hits.end());
    EXPECT_EQ(hub->relocated, "HF_HOME");
    EXPECT_TRUE(hub->rule.component.ends_with(RELOCATED_SUFFIX_KOREAN)) << hub->rule.component;
    EXPECT_FALSE(hub->rule.verified) << "a moved store waits for a deliberate choice";

    // A store relocated into Kelvor's own folder is never a hit.
    writeFile(home / ".kelvor/hf/hub/blob", std::string(4096, 'k'));
    home.setEnv("HF_HOME", home / ".kelvor/hf");
    for (const Hit& hit : collectHits(2)) EXPECT_FALSE(isOwnState(hit.path)) << hit.path;
}

}  // namespace
}  // namespace kelvor
