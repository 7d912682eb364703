#include "quillet/space/unclaimed_survey.hpp"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <memory>
#include <unordered_set>

#include "quillet/platform/dirs.hpp"
#include "quillet/platform/home.hpp"
#include "quillet/platform/workers.hpp"
#include "quillet/rules/hits.hpp"
#include "quillet/scan/agg.hpp"
#include "quillet/scan/walker.hpp"
#include "quillet/platform/path_inside.hpp"
#include "quillet/platform/path_parts.hpp"
#include "quillet/space/exclusions.hpp"

namespace kelvor {

void FolderSizes::add(const std::string& path, Folder folder) { folders_[path] = std::move(folder); }

const FolderSizes::Folder* FolderSizes::find(const std::string& path) const {
    auto it = folders_.find(path);
    return it == folders_.end() ? nullptr : &it->second;
}

namespace {

// The folders strictly between `home` and each of `paths`: the walk must open them itself to give
// the stores below them (and the skipped folders) sizes of their own.
std::unordered_set<std::string> foldersOnTheWay(const std::string& home, const std::vector<std::string>& paths) {
    std::unordered_set<std::string> onTheWay;
    for (const std::string& path : paths) {
        if (path == home || !pathInside(path, home)) continue;
        for (std::string up = parentOf(path); up != home && pathInside(up, home); up = parentOf(up))
            if (!onTheWay.insert(up).second) break;
    }
    return onTheWay;
}

// One top-level tree: the shallow folders are listed first, level by level, so each gets a size of
// its own; every folder below them is a seed of one walker run with a bucket of its own. Each folder
// is read exactly once, and both stages spread their folders over the workers.
class TreeSurvey {
public:
    TreeSurvey(const std::string& home, const SurveySkip& skip, const std::unordered_set<std::string>& onTheWay)
        : home_(home), skip_(skip), onTheWay_(onTheWay) {}

    struct Outcome {
        bool listed = false;  // the tree's own folder could be read
        std::uint64_t total = 0;
        bool partial = false;
    };

    Outcome run(const std::string& root, int threads, std::chrono::milliseconds limit, FolderSizes& out) {
        const Deadline deadline = std::chrono::steady_clock::now() + limit;
        Outcome outcome;
        nodes_.push_back({root, 0, {}, -1, 0});
        for (std::vector<size_t> level = {0}; !level.empty();) {
            std::vector<Listing> listings = listAll(level, threads);
            if (level.front() == 0 && !listings.front().read) return outcome;
            level = adopt(level, listings);
        }
        outcome.listed = true;

        Agg agg(seedNames(), monotonicSeconds());
        for (const auto& [node, sighting] : linked_)
            if (agg.claimLinkedFile(sighting)) nodes_[node].ownBytes += sighting.allocSize;
        WalkEnd end = WalkEnd::finished;
        if (!seeds_.empty()) end = scanBulk(threads, agg, seeds_, QueueOrder::depthFirst, deadline);
        AggState state = agg.state();
        const bool cutShort = end == WalkEnd::cancelled;

        // Nodes come after their parents, so sizes add up from the back.
        std::vector<std::uint64_t> sizes(nodes_.size(), 0);
        for (size_t i = nodes_.size(); i-- > 0;) {
            const Node& node = nodes_[i];
            if (node.bucket >= 0) {
                sizes[i] = state.totals[static_cast<size_t>(node.bucket)];
                continue;
            }
            sizes[i] = node.ownBytes;
            for (size_t child : node.children) sizes[i] += sizes[child];
        }
        for (size_t i = 0; i < nodes_.size(); ++i) {
            FolderSizes::Folder folder{sizes[i], cutShort, {}};
            for (size_t child : nodes_[i].children) folder.children.push_back(nodes_[child].path);
            out.add(nodes_[i].path, std::move(folder));
        }
        outcome.total = sizes[0];
        outcome.partial = cutShort || denied_ + errors_ + state.denied + state.errors > 0;
        return outcome;
    }

private:
    struct Node {
        std::string path;
        std::uint64_t ownBytes = 0;  // regular files directly inside, when the node was listed here
        std::vector<size_t> children;
        int bucket = -1;  // the seed's bucket, for a folder the walker measures
        int depth = 0;
    };

    // What one shallow folder holds, read apart from the shared state so workers need no lock.
    struct Listing {
        bool read = false;
        std::uint64_t ownBytes = 0;
        std::vector<LinkSighting> linked;
        std::vector<std::string> folders;
        std::uint64_t denied = 0;
        std::uint64_t errors = 0;
    };

    Listing list(const std::string& path, std::byte* buffer) const {
        Listing listing;
        listing.read = readDirBulk(
            path, buffer, BUF_SIZE, listing.denied, listing.errors,
            [&](const BulkEntry& entry) {
                if (entry.objType == VREG) {
                    if (entry.linkCount < 2) listing.ownBytes += entry.allocSize;
                    else listing.linked.push_back({entry.fileID, entry.linkCount, entry.allocSize, entry.device});
                } else if (entry.objType == VDIR) {
                    std::string child = childPath(path, entry.name);
                    if (!skip_.skips(home_, path, entry.name, child)) listing.folders.push_back(std::move(child));
                }
            },
            EntryDetail::regularFilesOnly);
        return listing;
    }

    std::vector<Listing> listAll(const std::vector<size_t>& level, int threads) const {
        std::vector<Listing> listings(level.size());
        std::atomic<size_t> next{0};
        auto work = [&](int) {
            std::unique_ptr<std::byte[]> buffer(new std::byte[BUF_SIZE]);
            for (size_t i = next++; i < level.size(); i = next++) listings[i] = list(nodes_[level[i]].path, buffer.get());
        };
        const int workers = static_cast<int>(std::min<size_t>(level.size(), static_cast<size_t>(std::max(threads, 1))));
        if (workers == 1) work(0);
        else runWorkers(workers, WORKER_STACK_BYTES, work);
        return listings;
    }

    // Takes the listings into the tree; returns the sub-folders to list next. Those deep enough
    // and off the way to any store become the walker's seeds instead.
    std::vector<size_t> adopt(const std::vector<size_t>& level, std::vector<Listing>& listings) {
        std::vector<size_t> nextLevel;
        for (size_t i = 0; i < level.size(); ++i) {
            const size_t at = level[i];
            Listing& listing = listings[i];
            nodes_[at].ownBytes = listing.ownBytes;
            for (const LinkSighting& sighting : listing.linked) linked_.push_back({at, sighting});
            denied_ += listing.denied;
            errors_ += listing.errors;
            for (std::string& child : listing.folders) {
                Node node{std::move(child), 0, {}, -1, nodes_[at].depth + 1};
                if (node.depth >= DRILL_DEPTH && !onTheWay_.contains(node.path)) {
                    node.bucket = static_cast<int>(seeds_.size());
                    seeds_.push_back({node.path, node.bucket});
                } else {
                    nextLevel.push_back(nodes_.size());
                }
                nodes_[at].children.push_back(nodes_.size());
                nodes_.push_back(std::move(node));
            }
        }
        return nextLevel;
    }

    std::vector<std::string> seedNames() const {
        std::vector<std::string> names;
        names.reserve(seeds_.size());
        for (const WorkItem& seed : seeds_) names.push_back(seed.path);
        return names;
    }

    const std::string& home_;
    const SurveySkip& skip_;
    const std::unordered_set<std::string>& onTheWay_;
    std::vector<Node> nodes_;
    std::vector<WorkItem> seeds_;
    std::vector<std::pair<size_t, LinkSighting>> linked_;
    std::uint64_t denied_ = 0;
    std::uint64_t errors_ = 0;
};

// The claimed bytes and owners of `entry`, from the hits inside it.
void claimFromHits(UnclaimedEntry& entry, const std::vector<Hit>& hits) {
    for (const Hit& hit : hits) {
        if (!pathInside(hit.path, entry.path) || hit.stat.bytes == 0) continue;
        entry.claimed += hit.stat.bytes;
        if (std::find(entry.owners.begin(), entry.owners.end(), hit.rule.owner) == entry.owners.end())
            entry.owners.push_back(hit.rule.owner);
    }
    entry.claimed = std::min(entry.claimed, entry.total);
}

}  // namespace

UnclaimedSurvey surveyUnclaimedIn(const SurveyPlace& place, const std::vector<ResolvedRule>& resolved, int threads,
                                  std::uint64_t minBytes) {
    UnclaimedSurvey survey;
    const std::string& home = place.home;
    std::vector<std::string> wanted = place.skip.paths;
    for (const ResolvedRule& each : resolved) wanted.push_back(each.path);
    const std::unordered_set<std::string> onTheWay = foldersOnTheWay(home, wanted);

    std::vector<std::string> trees;
    std::vector<UnclaimedEntry> entries;
    std::uint64_t denied = 0;
    std::uint64_t errors = 0;
    std::unique_ptr<std::byte[]> buffer(new std::byte[BUF_SIZE]);
    const bool listed = readDirBulk(home, buffer.get(), BUF_SIZE, denied, errors, [&](const BulkEntry& entry) {
        const std::string path = childPath(home, entry.name);
        if (place.skip.skips(home, home, entry.name, path)) return;
        if (entry.objType == VDIR) trees.push_back(path);
        // A large file at the top of the home folder is unclaimed space as much as a tree is.
        else if (entry.objType == VREG) entries.push_back({path, entry.allocSize, 0, {}, false});
    });
    if (!listed) survey.unreadableRoots.push_back(home);
    std::sort(trees.begin(), trees.end());

    for (const std::string& tree : trees) {
        TreeSurvey walk(home, place.skip, onTheWay);
        TreeSurvey::Outcome outcome = walk.run(tree, threads, place.treeLimit, survey.folders);
        if (!outcome.listed) survey.unreadableRoots.push_back(tree);
        else entries.push_back({tree, outcome.total, 0, {}, outcome.partial});
    }

    // Stores the walk measured take its numbers; only stores outside it are measured again.
    auto measure = [&](const std::string& path, int workers) {
        if (const FolderSizes::Folder* folder = survey.folders.find(path)) {
            TreeStat stat;
            stat.bytes = folder->bytes;
            stat.timedOut = folder->cutShort;
            return stat;
        }
        return measureTree(path, workers, std::chrono::duration_cast<std::chrono::milliseconds>(STORE_MEASURE_LIMIT));
    };
    survey.hits = collectHitsFrom(resolved, threads, {}, measure);

    for (UnclaimedEntry& entry : entries) {
        claimFromHits(entry, survey.hits);
        if (entry.remainder() >= minBytes) survey.rows.push_back(std::move(entry));
    }
    std::stable_sort(survey.rows.begin(), survey.rows.end(), [](const UnclaimedEntry& a, const UnclaimedEntry& b) {
        return a.remainder() > b.remainder();
    });
    return survey;
}

UnclaimedSurvey surveyUnclaimed(int threads, std::uint64_t minBytes) {
    std::string home = homeDir();
    std::error_code failed;
    // Stores are named with their links resolved, so the home folder is too.
    std::filesystem::path real = std::filesystem::canonical(home, failed);
    if (!failed) home = real.string();
    SurveyPlace place{home, surveySkip(home), SURVEY_TREE_LIMIT};
    return surveyUnclaimedIn(place, resolvedRules(), threads, minBytes);
}

}  // namespace kelvor
