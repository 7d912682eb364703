#include <gtest/gtest.h>

#include <map>
#include <set>

#include "quillet/rules/catalog.hpp"
#include "quillet/rules/location.hpp"
#include "quillet/rules/support_matrix.hpp"

namespace kelvor {
namespace {

std::string describe(const Rule& rule) { return rule.owner + " / " + rule.sub + " (" + rule.component + ")"; }

TEST(Catalog, CompositionIsAsPublished) {
    std::map<Tier, int> tiers, verifiedTiers;
    std::map<Burden, int> burdens;
    int verified = 0, direct = 0, liveSafe = 0, probeBulk = 0, knownFiles = 0;
    for (const Rule& rule : CATALOG) {
        ++tiers[rule.tier];
        ++burdens[rule.burden];
        if (rule.verified) ++verified, ++verifiedTiers[rule.tier];
        direct += rule.directEnv.has_value();
        liveSafe += rule.liveSafe;
        probeBulk += rule.probeBulk;
        knownFiles += !rule.probeKnownFiles.empty();
    }
    EXPECT_EQ(CATALOG.size(), 388u);
    EXPECT_EQ(tiers[Tier::redownload], 102);
    EXPECT_EQ(tiers[Tier::regenerate], 110);
    EXPECT_EQ(tiers[Tier::review], 146);
    EXPECT_EQ(tiers[Tier::protected_], 30);
    EXPECT_EQ(verifiedTiers[Tier::redownload], 66);
    EXPECT_EQ(verifiedTiers[Tier::regenerate], 95);
    EXPECT_EQ(verifiedTiers[Tier::review], 63);
    EXPECT_EQ(verifiedTiers[Tier::protected_], 22);
    EXPECT_EQ(verified, 246);
    EXPECT_EQ(burdens[Burden::interruptive], 272);
    EXPECT_EQ(burdens[Burden::transparent], 43);
    EXPECT_EQ(burdens[Burden::identity], 41);
    EXPECT_EQ(burdens[Burden::manual], 32);
    EXPECT_EQ(direct, 91);
    EXPECT_EQ(liveSafe, 2);
    EXPECT_EQ(probeBulk, 4);
    EXPECT_EQ(knownFiles, 2);
}

TEST(Catalog, FlaggedRowsAreTheNamedOnes) {
    std::set<std::string> live, bulk, probed;
    for (const Rule& rule : CATALOG) {
        if (rule.liveSafe) live.insert(rule.owner + "|" + rule.sub);
        if (rule.probeBulk) bulk.insert(rule.owner + "|" + rule.sub);
        if (!rule.probeKnownFiles.empty()) probed.insert(rule.owner);
    }
    std::set<std::string> chromeProfile = {
        "Google Chrome|Library/Caches/Google/Chrome/Default/Cache/Cache_Data",
        "Google Chrome|Library/Caches/Google/Chrome/Default/Code Cache"};
    EXPECT_EQ(live, chromeProfile);
    std::set<std::string> expectedBulk = chromeProfile;
    expectedBulk.insert("Claude Desktop|Library/Application Support/Claude/Cache");
    expectedBulk.insert("Claude Desktop|Library/Application Support/Claude/Code Cache");
    EXPECT_EQ(bulk, expectedBulk);
    EXPECT_EQ(probed, (std::set<std::string>{"ChatGPT", "Safari"}));
}

TEST(Catalog, OrderStartsWithHuggingFaceAndEndsWithHomebrew) {
    ASSERT_FALSE(CATALOG->empty());
    EXPECT_EQ(CATALOG->front().owner, "HuggingFace");
    EXPECT_EQ(CATALOG->front().sub, "xet/chunk-cache");
    EXPECT_EQ(CATALOG->back().owner, "Homebrew");
    // Each owner's rows stand together, so reports grouped by owner keep catalog order.
    std::set<std::string> finished;
    std::string current;
    for (const Rule& rule : CATALOG) {
        if (rule.owner == current) continue;
        EXPECT_FALSE(finished.contains(rule.owner)) << describe(rule);
        finished.insert(current);
        current = rule.owner;
    }
}

TEST(Catalog, NoOwnerHasTwoRowsForOnePath) {
    std::set<std::pair<std::string, std::string>> seen;
    for (const Rule& rule : CATALOG)
        EXPECT_TRUE(seen.emplace(rule.owner, defaultDisplayPath(rule)).second) << describe(rule);
}

TEST(Catalog, EveryLabelAndRecoveryIsRegistered) {
    for (const Rule& rule : CATALOG) {
        EXPECT_TRUE(catalogEnglish(rule.component).has_value()) << describe(rule);
        EXPECT_TRUE(catalogEnglish(rule.recovery).has_value()) << describe(rule) << ": " << rule.recovery;
    }
}

TEST(Catalog, EverySourceOpensWithAKindWord) {
    const std::vector<std::string> kinds = {"문서:", "소스:", "실측", "정책", "앱 코드 확인",
                                            "커뮤니티 보고", "벤더 디렉터리 구조", "경로 구분"};
    for (const Rule& rule : CATALOG) {
        // Every part joined by " + " is evidence of its own, so each must say its kind.
        size_t start = 0;
        while (true) {
            size_t end = rule.source.find(" + ", start);
            std::string part = rule.source.substr(start, end == std::string::npos ? end : end - start);
            bool known = false;
            for (const std::string& kind : kinds) known = known || part.starts_with(kind);
            EXPECT_TRUE(known) << describe(rule) << ": " << part;
            if (end == std::string::npos) break;
            start = end + 3;
        }
    }
}

TEST(Catalog, ReviewAndProtectedRowsAreNeverOneClickAndSubsAreRelative) {
    for (const Rule& rule : CATALOG) {
        if (rule.tier == Tier::protected_ || rule.tier == Tier::review) {
            EXPECT_FALSE(isOneClick(rule)) << describe(rule);
        }
        EXPECT_FALSE(rule.sub.starts_with("/")) << describe(rule);
        EXPECT_FALSE(rule.sub.ends_with("/")) << describe(rule);
        if (rule.envSub) {
            EXPECT_TRUE(rule.directEnv.has_value()) << describe(rule);
        }
    }
}

TEST(Catalog, ComfyUILatentUpscaleFolderFollowsComfyUIsLayout) {
    bool found = false;
    for (const Rule& rule : CATALOG)
        if (rule.owner == "ComfyUI" && rule.sub == "models/latent_upscale_models") {
            found = true;
            EXPECT_EQ(rule.base, Base::comfy);
            EXPECT_EQ(rule.tier, Tier::review);
            EXPECT_FALSE(rule.verified);
        }
    EXPECT_TRUE(found);
}

TEST(Catalog, OwnersAreCollectedOnce) {
    std::set<std::string> owners;
    for (const Rule& rule : CATALOG) owners.insert(rule.owner);
    EXPECT_EQ(CATALOG_OWNERS.size(), owners.size());
    for (const std::string& owner : owners) EXPECT_TRUE(CATALOG_OWNERS.contains(owner)) << owner;
    EXPECT_FALSE(CATALOG_OWNERS.contains("Kelvor"));
}

}  // namespace
}  // namespace kelvor
