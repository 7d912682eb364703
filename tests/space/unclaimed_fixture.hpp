#pragma once
// What the unclaimed-space tests share: files of a given size, a store rule at a path, and the
// survey's place over a temporary home.
#include "quillet/space/unclaimed_survey.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor::testing {

inline constexpr std::uint64_t KB = 1000;

inline void fill(const std::string& path, std::uint64_t bytes) { writeFile(path, std::string(bytes, 'k')); }

// A verified rule of `owner` whose store is `path`.
inline ResolvedRule storeRule(const std::string& path, const std::string& owner = "Tool") {
    return {Rule{.owner = owner, .component = "캐시", .tier = Tier::regenerate, .verified = true}, path, std::nullopt,
            std::nullopt};
}

inline SurveyPlace placeOf(const TempHome& home) { return {home.path(), surveySkip(home.path()), SURVEY_TREE_LIMIT}; }

}  // namespace kelvor::testing
