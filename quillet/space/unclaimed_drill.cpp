#include "quillet/space/unclaimed_drill.hpp"

#include <algorithm>

#include "quillet/platform/path_inside.hpp"
#include "quillet/space/exclusions.hpp"

namespace kelvor {

namespace {

std::uint64_t unclaimedIn(const std::string& path, std::uint64_t bytes, const std::vector<Hit>& hits) {
    std::uint64_t claimed = 0;
    for (const Hit& hit : hits)
        if (pathInside(hit.path, path)) claimed += hit.stat.bytes;
    return bytes > claimed ? bytes - claimed : 0;
}

void drillInto(const std::string& path, const std::vector<Hit>& hits, std::uint64_t minBytes,
               const FolderSizes& folders, int level, int depth, std::vector<DrillRow>& rows) {
    const FolderSizes::Folder* folder = folders.find(path);
    if (folder == nullptr || level > depth) return;
    std::vector<DrillRow> found;
    for (const std::string& child : folder->children) {
        const FolderSizes::Folder* sub = folders.find(child);
        if (sub == nullptr) continue;
        std::uint64_t unclaimed = unclaimedIn(child, sub->bytes, hits);
        if (unclaimed >= minBytes && unclaimed > 0) found.push_back({child, unclaimed, level});
    }
    std::stable_sort(found.begin(), found.end(),
                     [](const DrillRow& a, const DrillRow& b) { return a.unclaimed > b.unclaimed; });
    if (found.size() > DRILL_WIDTH) found.resize(DRILL_WIDTH);
    for (DrillRow& row : found) {
        std::string child = row.path;
        rows.push_back(std::move(row));
        drillInto(child, hits, minBytes, folders, level + 1, depth, rows);
    }
}

}  // namespace

std::vector<DrillRow> drillUnclaimed(const UnclaimedEntry& entry, const std::vector<Hit>& hits,
                                     std::uint64_t minBytes, const FolderSizes& folders, int depth) {
    std::vector<DrillRow> rows;
    drillInto(entry.path, hits, minBytes, folders, 1, depth, rows);
    return rows;
}

}  // namespace kelvor
