#include "quillet/rules/build_artifacts.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <ctime>
#include <memory>
#include <unordered_set>

#include "quillet/log/log.hpp"
#include "quillet/platform/dirs.hpp"
#include "quillet/platform/home.hpp"
#include "quillet/scan/walker.hpp"

namespace kelvor {

namespace {

constexpr std::size_t BUFFER_SIZE = 64 * 1024;

// Folders that hold version-control history: their insides are never build folders of ours.
bool isVersionControl(std::string_view name) {
    return name == ".git" || name == ".hg" || name == ".svn" || name == ".bzr" || name == "_darcs" ||
           name == ".jj" || name == ".pijul";
}

bool isAtOrBelow(const std::string& path, const std::string& folder) {
    return path == folder || (path.size() > folder.size() && path.starts_with(folder) &&
                              (folder.ends_with('/') || path[folder.size()] == '/'));
}

bool exists(const std::string& path) {
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0;
}

bool isRegularFile(const std::string& path) {
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

// A folder that holds its project's own marker or history is the project, not its output.
bool holdsSources(const std::string& folder, const ArtifactKind& kind) {
    if (exists(childPath(folder, ".git"))) return true;
    return kind.place == MarkerPlace::beside && exists(childPath(folder, std::string(kind.marker)));
}

// The first kind whose marker holds for the folder `name` inside `parent`, whose regular files are
// `files`; none when no kind does.
const ArtifactKind* kindOf(const std::string& parent, const std::string& name,
                           const std::unordered_set<std::string>& files) {
    for (const ArtifactKind& kind : artifactKinds()) {
        if (kind.folder != name) continue;
        std::string folder = childPath(parent, name);
        bool proven = kind.place == MarkerPlace::beside ? files.contains(std::string(kind.marker))
                                                        : isRegularFile(childPath(folder, std::string(kind.marker)));
        if (proven && !holdsSources(folder, kind)) return &kind;
    }
    return nullptr;
}

bool mightBeArtifact(const std::string& name) {
    static const std::unordered_set<std::string> names = [] {
        std::unordered_set<std::string> built;
        for (const ArtifactKind& kind : artifactKinds()) built.emplace(kind.folder);
        return built;
    }();
    return names.contains(name);
}

}  // namespace

std::vector<ArtifactFind> findBuildArtifacts(const std::string& root, const std::string& home) {
    std::vector<ArtifactFind> found;
    auto buffer = std::make_unique<std::byte[]>(BUFFER_SIZE);
    struct Pending {
        std::string path;
        int depth;
    };
    struct stat rootInfo {};
    if (::lstat(root.c_str(), &rootInfo) != 0 || !S_ISDIR(rootInfo.st_mode)) return found;
    std::vector<Pending> stack{{root, 0}};
    std::vector<std::string> folders;
    std::unordered_set<std::string> files;
    while (!stack.empty()) {
        Pending current = std::move(stack.back());
        stack.pop_back();
        // Another file system mounted inside (a network share, a removable disk) is not walked.
        struct stat info {};
        if (::lstat(current.path.c_str(), &info) != 0 || info.st_dev != rootInfo.st_dev) continue;
        folders.clear();
        files.clear();
        std::uint64_t denied = 0, errors = 0;
        readDirBulk(current.path, buffer.get(), BUFFER_SIZE, denied, errors, [&](const BulkEntry& entry) {
            if (entry.objType == VDIR) folders.push_back(entry.name);
            else if (entry.objType == VREG) files.insert(entry.name);
        }, EntryDetail::namesAndTypes);
        bool inHome = current.path == home;
        for (const std::string& name : folders) {
            if (isVersionControl(name)) continue;
            // Applications keep their own node_modules in the home's hidden folders.
            if (inHome && name.starts_with('.')) continue;
            if (mightBeArtifact(name))
                if (const ArtifactKind* kind = kindOf(current.path, name, files)) {
                    found.push_back({childPath(current.path, name), kind});
                    continue;
                }
            if (current.depth + 1 < MAX_ARTIFACT_DEPTH) stack.push_back({childPath(current.path, name), current.depth + 1});
        }
    }
    // Listing order is the file system's; reports want the same order on every run.
    std::sort(found.begin(), found.end(), [](const ArtifactFind& left, const ArtifactFind& right) {
        return left.path < right.path;
    });
    return found;
}

std::vector<Rule> dynamicBuildArtifactRules(const std::vector<std::string>& excluding, const std::string& root,
                                            const std::string& home) {
    std::vector<Rule> rules;
    for (const ArtifactFind& find : findBuildArtifacts(root, home)) {
        // A claimed path at or above the root would claim everything: only stores inside it count.
        bool claimed = std::any_of(excluding.begin(), excluding.end(), [&](const std::string& path) {
            return !isAtOrBelow(root, path) && isAtOrBelow(find.path, path);
        });
        if (claimed) continue;
        const ArtifactKind& kind = *find.kind;
        rules.push_back({.owner = std::string(BUILD_ARTIFACTS_OWNER),
                         .component = std::string(kind.component),
                         .sub = find.path,
                         .tier = kind.tier,
                         .recovery = std::string(kind.recovery),
                         .source = std::string(kind.source),
                         .verified = true,
                         .burden = Burden::interruptive});
    }
    return rules;
}

std::vector<Rule> dynamicBuildArtifactRules(const std::vector<std::string>& excluding) {
    std::string home = homeDir();
    auto started = std::chrono::steady_clock::now();
    std::vector<Rule> rules =
        dynamicBuildArtifactRules(excluding, home, home);
    auto took = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - started);
    // The walk's cost, for the benchmark that holds it against one scan of the same home.
    KelvorLog::write("scan", "build folders: " + std::to_string(rules.size()) + " under " + home + " in " +
                                 std::to_string(took.count()) + " ms");
    return rules;
}

}  // namespace kelvor
