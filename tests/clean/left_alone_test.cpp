#include "quillet/clean/left_alone.hpp"

#include <gtest/gtest.h>

namespace kelvor {
namespace {

Hit hitOf(std::string owner, std::string component, Tier tier, std::string recovery, std::string path) {
    Hit hit;
    hit.rule = Rule{.owner = std::move(owner), .component = std::move(component), .tier = tier,
                    .recovery = std::move(recovery)};
    hit.path = std::move(path);
    hit.stat.bytes = 2500000;
    return hit;
}

TEST(LeftAlone, ShowsYoursAndProtectedWithTheWayToClearProtectedOnesAndNothingElse) {
    std::vector<Hit> hits = {
        hitOf("Go", "빌드 캐시", Tier::regenerate, "다음 빌드 시 다시 만들어짐 (첫 빌드가 느려짐)", "/h/.cache/go-build"),
        hitOf("JetBrains", "캐시·색인", Tier::review, "IDE가 색인을 다시 만들지만 로컬 기록도 함께 사라짐", "/h/.cache/JetBrains"),
        hitOf("Docker", "컨테이너 저장소", Tier::protected_, "Docker만 지울 수 있음 — docker system prune으로 정리",
              "/h/.local/share/docker"),
    };
    std::string shown = renderLeftAlone(hits);
    EXPECT_EQ(shown.find("go-build"), std::string::npos) << "what a clean offers is not repeated here\n" << shown;
    EXPECT_TRUE(shown.starts_with("Not offered — yours to judge, or protected:\n")) << shown;
    EXPECT_NE(shown.find("  [C] JetBrains · Caches and indexes"), std::string::npos) << shown;
    EXPECT_NE(shown.find("2.5 MB"), std::string::npos) << shown;
    EXPECT_NE(shown.find(" /h/.local/share/docker\n     ↳ Only Docker may remove it: clear it with docker system prune\n"),
              std::string::npos)
        << shown;
    EXPECT_EQ(shown.find("↳ IDE"), std::string::npos) << "only protected stores carry the way to clear them";
    EXPECT_EQ(renderLeftAlone({hits[0]}), "") << "nothing to show is nothing at all";
    EXPECT_EQ(renderLeftAlone({}), "");
}

}  // namespace
}  // namespace kelvor
