#include "quillet/automation/plan_store.hpp"

#include <algorithm>

#include "quillet/automation/plan_token.hpp"

namespace kelvor {

std::string_view planKindName(PlanKind kind) { return kind == PlanKind::clean ? "clean" : "free"; }
std::string_view disposalName(Disposal disposal) { return disposal == Disposal::trash ? "trash" : "delete"; }

PlanStore::PlanStore(Clock& clock) : clock_(clock) {}

PlanStore& PlanStore::shared() {
    static PlanStore* store = new PlanStore();
    return *store;
}

std::string PlanStore::put(Plan plan) {
    std::lock_guard<std::mutex> hold(lock_);
    plan.token = newPlanToken();
    while (plans_.contains(plan.token)) plan.token = newPlanToken();
    plan.created = clock_.now();
    plan.createdMonotonic = clock_.monotonicSeconds();
    while (plans_.size() >= PLAN_STORE_CAP) {
        auto oldest = std::min_element(plans_.begin(), plans_.end(),
                                       [](const auto& a, const auto& b) { return a.second.order < b.second.order; });
        plans_.erase(oldest);
    }
    std::string token = plan.token;
    plans_.emplace(token, Stored{std::move(plan), nextOrder_++});
    issuedEver_ = true;
    return token;
}

PlanTake PlanStore::take(const std::string& token, PlanKind kind) {
    std::lock_guard<std::mutex> hold(lock_);
    PlanTake taken;
    if (!issuedEver_) {
        taken.neverIssued = true;
        taken.refusal =
            "this server has not written a single plan since it started, so it cannot be the one that issued that "
            "token: the client restarted it between the plan and the answer. Nothing was touched and nothing was "
            "lost — ask for a fresh plan and show it again";
        return taken;
    }
    auto found = plans_.find(token);
    if (found == plans_.end()) {
        taken.refusal = "plan_token is not one this server issued, or it has already been used — ask for a fresh plan";
        return taken;
    }
    if (found->second.plan.kind != kind) {
        taken.refusal = "plan_token belongs to a different tool — ask for a fresh plan";
        return taken;
    }
    Plan plan = std::move(found->second.plan);
    plans_.erase(found);
    const double age = clock_.monotonicSeconds() - plan.createdMonotonic;
    if (age > static_cast<double>(PLAN_LIFETIME.count())) {
        taken.refusal = "plan_token expired after " + std::to_string(PLAN_LIFETIME.count()) +
                        "s — ask for a fresh plan and show it again";
        return taken;
    }
    taken.plan = std::move(plan);
    return taken;
}

bool PlanStore::issuedEver() const {
    std::lock_guard<std::mutex> hold(lock_);
    return issuedEver_;
}

std::size_t PlanStore::size() const {
    std::lock_guard<std::mutex> hold(lock_);
    return plans_.size();
}

}  // namespace kelvor
