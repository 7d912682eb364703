#include "quillet/space/unclaimed_skip.hpp"

#include <algorithm>

#include "quillet/platform/path_inside.hpp"
#include "quillet/platform/user_folders.hpp"
#include "quillet/space/exclusions.hpp"

namespace kelvor {

bool SurveySkip::skips(const std::string& home, const std::string& parent, std::string_view name,
                       const std::string& path) const {
    if (parent == home && std::find(names.begin(), names.end(), name) != names.end()) return true;
    return std::find(paths.begin(), paths.end(), path) != paths.end();
}

SurveySkip surveySkip(const std::string& home) {
    SurveySkip skip;
    skip.names.assign(SURVEY_SKIP.begin(), SURVEY_SKIP.end());
    // Only folders below the home folder can be met by the survey; others need no entry.
    for (std::string& folder : personalFolders(home))
        if (folder != home && pathInside(folder, home)) skip.paths.push_back(std::move(folder));
    return skip;
}

}  // namespace kelvor
