#include "quillet/rules/catalog.hpp"

#include <gtest/gtest.h>

#include <set>

#include "quillet/rules/support_matrix.hpp"

namespace kelvor {
namespace {

TEST(Catalog, EveryRowIsWellFormed) {
    const std::vector<std::string> kinds = {"문서:", "소스:", "실측", "정책", "앱 코드 확인",
                                            "커뮤니티 보고", "벤더 디렉터리 구조", "경로 구분"};
    std::set<std::pair<std::string, std::string>> paths;
    std::set<std::string> finishedOwners, liveSafe;
    std::string currentOwner;
    for (const Rule& rule : CATALOG) {
        SCOPED_TRACE(rule.owner + " / " + rule.sub + " (" + rule.component + ")");
        EXPECT_TRUE(catalogEnglish(rule.component));
        EXPECT_TRUE(catalogEnglish(rule.recovery)) << rule.recovery;
        EXPECT_TRUE(paths.emplace(rule.owner, defaultDisplayPath(rule)).second) << "two rows for one path";
        EXPECT_FALSE(rule.sub.starts_with("/") || rule.sub.ends_with("/"));
        EXPECT_TRUE(!rule.envSub || rule.directEnv) << "a sub below a variable with no variable";
        EXPECT_FALSE(isOneClick(rule) && (rule.tier == Tier::protected_ || rule.tier == Tier::review));
        if (rule.liveSafe) liveSafe.insert(rule.owner + "|" + rule.sub);
        // Each owner's rows stand together, so reports grouped by owner keep catalog order.
        if (rule.owner != currentOwner) {
            EXPECT_FALSE(finishedOwners.contains(rule.owner)) << "rows of one owner apart";
            finishedOwners.insert(currentOwner);
            currentOwner = rule.owner;
        }
        // Every part joined by " + " is evidence of its own, so each must say its kind.
        for (size_t start = 0, end = 0; end != std::string::npos; start = end + 3) {
            end = rule.source.find(" + ", start);
            std::string part = rule.source.substr(start, end == std::string::npos ? end : end - start);
            EXPECT_TRUE(std::any_of(kinds.begin(), kinds.end(), [&](const std::string& kind) { return part.starts_with(kind); }))
                << part;
        }
    }
    // Only these may go while their owner runs: the guard lets them past a running Chrome.
    EXPECT_EQ(liveSafe, (std::set<std::string>{"Google Chrome|Library/Caches/Google/Chrome/Default/Cache/Cache_Data",
                                               "Google Chrome|Library/Caches/Google/Chrome/Default/Code Cache"}));
}

}  // namespace
}  // namespace kelvor
