#pragma once
// The assistant-facing recovery-cost ladder: every hit gets a level from 1 (comes back by itself)
// to 4 (the person's own files), and a plan may reach only as far as the person allowed.
#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "quillet/automation/protocol.hpp"
#include "quillet/rules/hit.hpp"

namespace kelvor {

inline constexpr int LOWEST_LEVEL = 1;
inline constexpr int HIGHEST_PLANNABLE_LEVEL = 3;
inline constexpr int OWN_FILES_LEVEL = 4;

struct LevelFacts {
    int level = OWN_FILES_LEVEL;
    // The rule is verified (the app shows R) but its proof does not hold for this path here.
    bool appSaysRButLevel3 = false;
};

// The level of a store of `rule`. `proofMissingHere`: the rule's prover applies but found no proof
// for this path on this machine. Tier C and protected are always 4, whatever else holds.
LevelFacts assistantLevel(const Rule& rule, bool proofMissingHere = false);
LevelFacts assistantLevel(const Hit& hit);

// What each level means, index 0 for level 1.
extern const std::array<std::string_view, 4> LEVEL_LEGEND;

// {"1": meaning, ...} for a payload.
Json levelLegendJson();

// The screen letters against the internal tiers, with the instruction to quote the letter.
Json lettersLegend();

// Why a row of `rule` at `level` is not in a plan capped at a lower level: what it would take, or
// for level 4 that nothing reaches it.
std::string levelRefusal(const Rule& rule, int level);

// The cap a plan uses for the `max_level` the assistant sent, and, when it was changed, the note
// that says so for the payload.
struct ClampedLevel {
    int level = LOWEST_LEVEL;
    std::optional<std::string> note;
};
ClampedLevel clampMaxLevel(std::int64_t asked);

// A stable key for the store at `path` of `owner`: the same store gets the same key on every call.
std::string itemKey(const std::string& owner, const std::string& path);

}  // namespace kelvor
