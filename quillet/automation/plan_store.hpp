#pragma once
// The plans this automation server wrote and has not yet handed back: each one unlocks exactly its
// own list, once, within its lifetime, in this process only.
#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quillet/automation/protocol.hpp"
#include "quillet/platform/clock.hpp"
#include "quillet/platform/fsops.hpp"
#include "quillet/recovery/restorable.hpp"
#include "quillet/rules/hit.hpp"

namespace kelvor {

inline constexpr std::chrono::seconds PLAN_LIFETIME{900};
inline constexpr std::size_t PLAN_STORE_CAP = 8;

enum class PlanKind { clean, free };
enum class Disposal { trash, delete_ };

// "clean"/"free" and "trash"/"delete".
std::string_view planKindName(PlanKind kind);
std::string_view disposalName(Disposal disposal);

// One store in a clean plan, with the identity its path had when the plan was made.
struct PlanRow {
    Hit hit;
    std::optional<PathIdentity> identity;
};

// One Trash row Kelvor moved, offered for emptying, with the command that would bring it back.
struct FreeRow {
    RestorableItem item;
    std::optional<std::string> wayBack;
};

struct Plan {
    std::string token;
    PlanKind kind = PlanKind::clean;
    std::chrono::system_clock::time_point created;
    double createdMonotonic = 0;  // the age is measured on the clock that never jumps
    int maxLevel = 1;
    std::vector<PlanRow> rows;       // clean plans
    std::vector<FreeRow> freeRows;   // free plans
    Disposal disposal = Disposal::trash;
    Json refused = Json::array();    // rows asked for and not planned, with reasons
    std::vector<std::string> missingKeys;
};

// What take() gives: the plan, or the sentence that says why not.
struct PlanTake {
    std::optional<Plan> plan;
    std::string refusal;
    bool neverIssued = false;  // no plan was ever stored in this process
};

class PlanStore {
public:
    explicit PlanStore(Clock& clock = Clock::real());

    // Stores `plan` with its `created` times set now, under a fresh token, and returns the token.
    // When the store is full the oldest plan is dropped first.
    std::string put(Plan plan);

    // Takes the plan of `token` out of the store for a call of tool `kind`. Refusals, in this order:
    // nothing ever issued, unknown token, other tool, expired. The plan leaves the store as soon as
    // it is found, so an expired token cannot be tried twice either.
    PlanTake take(const std::string& token, PlanKind kind);

    bool issuedEver() const;
    std::size_t size() const;

    // The server's store. Shared and never destroyed.
    static PlanStore& shared();

private:
    Clock& clock_;
    mutable std::mutex lock_;
    struct Stored {
        Plan plan;
        std::uint64_t order = 0;  // the order plans were put in: the oldest goes first when full
    };
    std::map<std::string, Stored> plans_;
    std::uint64_t nextOrder_ = 0;
    bool issuedEver_ = false;
};

}  // namespace kelvor
