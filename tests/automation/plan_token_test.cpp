// Plan tokens: their shape, and that they do not repeat.
#include <gtest/gtest.h>

#include <set>

#include "quillet/automation/plan_token.hpp"

namespace kelvor {
namespace {

TEST(PlanToken, IsPlanAndThirtyTwoLowercaseHexDigitsAndNeverRepeats) {
    std::set<std::string> seen;
    for (int i = 0; i < 200; ++i) {
        std::string token = newPlanToken();
        ASSERT_EQ(token.size(), 37u) << token;
        EXPECT_TRUE(token.starts_with("plan_")) << token;
        EXPECT_EQ(token.find_first_not_of("0123456789abcdef", 5), std::string::npos) << token;
        EXPECT_TRUE(seen.insert(token).second) << token;
    }
}

TEST(PlanToken, EncodesEachByteAsTwoDigitsHighNibbleFirst) {
    unsigned char bytes[16] = {0x00, 0x0f, 0xf0, 0xff, 0x12, 0xab};
    EXPECT_EQ(planTokenFromBytes(bytes), "plan_000ff0ff12ab00000000000000000000");
}

}  // namespace
}  // namespace kelvor
