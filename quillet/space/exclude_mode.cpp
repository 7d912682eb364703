#include "quillet/space/exclude_mode.hpp"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>

#include "quillet/i18n/text.hpp"
#include "quillet/platform/printable.hpp"
#include "quillet/space/exclusions.hpp"
#include "quillet/space/path_case.hpp"

namespace kelvor {

namespace {

void say(const std::string& line) { std::printf("%s\n", line.c_str()); }
void complain(const std::string& line) { std::fprintf(stderr, "%s\n", line.c_str()); }

// Gone means nothing at all is there; an entry we may not look at is not called gone.
bool goneFromDisk(const std::string& path) {
    std::error_code failed;
    return std::filesystem::symlink_status(path, failed).type() == std::filesystem::file_type::not_found;
}

int listExclusions(Exclusions& exclusions) {
    std::vector<std::string> entries = exclusions.all();
    if (entries.empty()) {
        say(trf(S::excludeEmpty));
        return 0;
    }
    say(trf(S::excludeListHeader, {std::to_string(entries.size())}));
    for (const std::string& entry : entries) say("  " + escapeControls(entry) + (goneFromDisk(entry) ? trf(S::excludeGone) : ""));
    say(trf(S::excludeRemoveHint));
    return 0;
}

int addExclusion(Exclusions& exclusions, const std::string& path) {
    std::error_code failed;
    if (!std::filesystem::exists(path, failed)) {
        complain(trf(S::excludeNoSuchPath) + ": " + escapeControls(path));
        return 1;
    }
    // The reason is in the log; the person is told the fact in the words the mode always used.
    if (!exclusions.add(path)) {
        complain(trf(S::excludeSaveFailed));
        return 1;
    }
    say(trf(S::excludeAdded) + " " + escapeControls(path));
    return 0;
}

int removeExclusion(Exclusions& exclusions, const std::string& path) {
    std::vector<std::string> entries = exclusions.all();
    std::string folded = foldPathCase(path);
    bool listed = std::any_of(entries.begin(), entries.end(),
                              [&](const std::string& entry) { return foldPathCase(entry) == folded; });
    if (!listed) {
        say(trf(S::excludeNotListed) + " " + escapeControls(path));
        return 0;
    }
    if (!exclusions.remove(path)) {
        complain(trf(S::excludeSaveFailed));
        return 1;
    }
    say(trf(S::excludeRemoved) + " " + escapeControls(path));
    return 0;
}

}  // namespace

int runExclude(const Settings& settings) {
    Exclusions& exclusions = Exclusions::shared();
    // An unreadable list hides every path; listing it as empty would say the opposite.
    if (exclusions.unreadable()) {
        complain(trf(S::excludeUnreadable, {escapeControls(exclusions.file())}));
        return 1;
    }
    if (!settings.explicitPath) return listExclusions(exclusions);
    // An empty path would be read as the current folder and exclude it.
    if (settings.explicitPath->empty()) {
        complain(trf(S::excludeEmptyPath));
        return 1;
    }
    std::string path = canonExclusion(*settings.explicitPath);
    if (settings.cleanForce) return removeExclusion(exclusions, path);
    return addExclusion(exclusions, path);
}

}  // namespace kelvor
