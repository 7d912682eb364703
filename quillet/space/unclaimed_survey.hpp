#pragma once
// The survey of unclaimed space: every top-level tree of the home folder measured once with the
// walker, and the bytes the catalogue's hits account for in each.
#include <chrono>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "quillet/rules/hit.hpp"
#include "quillet/rules/resolve.hpp"
#include "quillet/space/unclaimed_skip.hpp"

namespace kelvor {

// How many levels below each tree the survey keeps folder sizes, for the drill.
inline constexpr int DRILL_DEPTH = 2;
// How long the walk of one tree may take before it is cut short and flagged.
inline constexpr std::chrono::seconds SURVEY_TREE_LIMIT{300};

struct UnclaimedEntry {
    std::string path;
    std::uint64_t total = 0;          // allocated bytes under the path
    std::uint64_t claimed = 0;        // of those, what catalogue hits account for (never above total)
    std::vector<std::string> owners;  // the owners of those hits, first met first, each once
    bool partial = false;             // the walk did not finish: total is a lower bound

    std::uint64_t remainder() const { return total > claimed ? total - claimed : 0; }
};

// The sizes of the folders one survey measured: each tree, every folder down to DRILL_DEPTH below
// it, and every folder on the way to a store that a rule names.
class FolderSizes {
public:
    struct Folder {
        std::uint64_t bytes = 0;
        bool cutShort = false;              // its tree's walk was stopped at the time limit
        std::vector<std::string> children;  // sub-folders whose sizes are held too
    };

    void add(const std::string& path, Folder folder);
    // The folder measured at `path`, or null when the survey did not measure it on its own.
    const Folder* find(const std::string& path) const;

private:
    std::unordered_map<std::string, Folder> folders_;
};

struct UnclaimedSurvey {
    std::vector<UnclaimedEntry> rows;          // remainder at least the floor, largest remainder first
    std::vector<std::string> unreadableRoots;  // exist, but could not be listed
    std::vector<Hit> hits;                     // the catalogue's hits, measured in the same pass
    FolderSizes folders;
};

// Where a survey looks, and for how long per tree.
struct SurveyPlace {
    std::string home;
    SurveySkip skip;
    std::chrono::milliseconds treeLimit = SURVEY_TREE_LIMIT;
};

// The survey of `place` against the rules `resolved`, with `threads` workers: each top-level tree
// not skipped is walked once, stores inside it take their sizes from that walk (stores elsewhere
// are measured on their own), and the entries whose remainder is at least `minBytes` are kept.
// Never follows a symbolic link; nothing is written.
UnclaimedSurvey surveyUnclaimedIn(const SurveyPlace& place, const std::vector<ResolvedRule>& resolved, int threads,
                                  std::uint64_t minBytes);

// The survey of the person's home folder against every rule on this machine.
UnclaimedSurvey surveyUnclaimed(int threads, std::uint64_t minBytes);

}  // namespace kelvor
