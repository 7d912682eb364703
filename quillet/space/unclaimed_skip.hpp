#pragma once
// What the survey of unclaimed space never looks at: the person's own folders, the system-managed
// Library, the Trash and Kelvor's own records.
#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace kelvor {

// Top-level names of the home folder never surveyed (".glimster" is the data folder of earlier
// versions).
inline constexpr std::array<std::string_view, 15> SURVEY_SKIP{
    ".kelvor", ".Trash", "Library", "Applications", "Desktop", "Documents", "Downloads", "Movies",
    "Music",   "Pictures", "Public", "Sites", ".ssh", ".gnupg", ".glimster",
};

struct SurveySkip {
    std::vector<std::string> names;  // top-level names in the home folder
    std::vector<std::string> paths;  // absolute folders at any depth below it

    // Is `path` (a child of `parent`, with the name `name`) left out.
    bool skips(const std::string& home, const std::string& parent, std::string_view name,
               const std::string& path) const;
};

// SURVEY_SKIP, plus the person's own folders and the Trash as this system names them below `home`.
SurveySkip surveySkip(const std::string& home);

}  // namespace kelvor
