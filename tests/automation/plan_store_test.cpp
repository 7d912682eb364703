// The plan store against a clock the test moves: lifetime, capacity and each refusal of take.
#include <gtest/gtest.h>

#include "quillet/automation/plan_store.hpp"

namespace kelvor {
namespace {

constexpr const char* NEVER_ISSUED =
    "this server has not written a single plan since it started, so it cannot be the one that issued that token: "
    "the client restarted it between the plan and the answer. Nothing was touched and nothing was lost — ask for a "
    "fresh plan and show it again";
constexpr const char* UNKNOWN =
    "plan_token is not one this server issued, or it has already been used — ask for a fresh plan";
constexpr const char* OTHER_TOOL = "plan_token belongs to a different tool — ask for a fresh plan";

Plan planOf(PlanKind kind) {
    Plan plan;
    plan.kind = kind;
    return plan;
}

TEST(PlanStore, AFreshStoreRefusesAsNeverIssuedAndATokenWorksOnceForItsOwnToolOnly) {
    ManualClock clock;
    PlanStore store(clock);
    PlanTake fresh = store.take("plan_00000000000000000000000000000000", PlanKind::clean);
    EXPECT_FALSE(fresh.plan);
    EXPECT_TRUE(fresh.neverIssued);
    EXPECT_EQ(fresh.refusal, NEVER_ISSUED);
    EXPECT_FALSE(store.issuedEver());

    Plan plan = planOf(PlanKind::clean);
    plan.maxLevel = 2;
    std::string token = store.put(plan);
    PlanTake wrong = store.take(token, PlanKind::free);
    EXPECT_FALSE(wrong.plan);
    EXPECT_EQ(wrong.refusal, OTHER_TOOL);
    PlanTake first = store.take(token, PlanKind::clean);
    ASSERT_TRUE(first.plan) << first.refusal;
    EXPECT_EQ(first.plan->token, token);
    EXPECT_EQ(first.plan->maxLevel, 2);
    PlanTake second = store.take(token, PlanKind::clean);
    EXPECT_FALSE(second.plan);
    EXPECT_FALSE(second.neverIssued);
    EXPECT_EQ(second.refusal, UNKNOWN);
}

TEST(PlanStore, APlanLivesNineHundredSecondsAndAnExpiredTokenIsGoneAfterItsRefusal) {
    ManualClock clock;
    PlanStore store(clock);
    std::string onTime = store.put(planOf(PlanKind::clean));
    std::string late = store.put(planOf(PlanKind::free));
    clock.advance(std::chrono::seconds(900));
    EXPECT_TRUE(store.take(onTime, PlanKind::clean).plan);
    clock.advance(std::chrono::seconds(1));
    PlanTake expired = store.take(late, PlanKind::free);
    EXPECT_FALSE(expired.plan);
    EXPECT_EQ(expired.refusal, "plan_token expired after 900s — ask for a fresh plan and show it again");
    EXPECT_EQ(store.take(late, PlanKind::free).refusal, UNKNOWN);
}

TEST(PlanStore, TheNinthPlanPushesOutTheOldestOnly) {
    ManualClock clock;
    PlanStore store(clock);
    std::vector<std::string> tokens;
    for (int i = 0; i < 9; ++i) tokens.push_back(store.put(planOf(PlanKind::clean)));
    EXPECT_EQ(store.take(tokens[0], PlanKind::clean).refusal, UNKNOWN);
    for (int i = 1; i < 9; ++i) EXPECT_TRUE(store.take(tokens[static_cast<std::size_t>(i)], PlanKind::clean).plan) << i;
}

}  // namespace
}  // namespace kelvor
