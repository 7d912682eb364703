#include "quillet/main/remove_root.hpp"

#include <pwd.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>

#include "quillet/i18n/text.hpp"
#include "quillet/log/log.hpp"
#include "quillet/platform/home.hpp"
#include "quillet/platform/mount_table.hpp"
#include "quillet/platform/path_inside.hpp"
#include "quillet/platform/path_parts.hpp"
#include "quillet/platform/printable.hpp"
#include "quillet/platform/remove_tree.hpp"
#include "quillet/platform/trash.hpp"

namespace kelvor {

namespace {

std::vector<std::string> pieces(const std::string& path) {
    std::vector<std::string> out;
    size_t start = 0;
    while (start <= path.size()) {
        size_t end = path.find('/', start);
        if (end == std::string::npos) end = path.size();
        if (end > start) out.push_back(path.substr(start, end - start));
        start = end + 1;
    }
    return out;
}

bool allDigits(const std::string& text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

std::string joinedPrefix(const std::vector<std::string>& parts, size_t count) {
    std::string out;
    for (size_t i = 0; i < count; ++i) out += "/" + parts[i];
    return out.empty() ? "/" : out;
}

bool below(const std::string& path, const std::string& folder) { return path != folder && pathInside(path, folder); }

// The real path of `path`, or `path` as given when it cannot be resolved (it may not exist yet).
std::string resolvedOrAsIs(const std::string& path) {
    char resolved[PATH_MAX];
    return ::realpath(path.c_str(), resolved) ? std::string(resolved) : path;
}

std::vector<std::string> passwordHomes() {
    std::vector<std::string> homes;
    ::setpwent();
    while (const passwd* entry = ::getpwent())
        if (entry->pw_dir && entry->pw_dir[0] == '/') homes.push_back(entry->pw_dir);
    ::endpwent();
    return homes;
}


// The item's ".trashinfo" goes once the item is gone; a missing one is no failure.
void removePairedInfo(const std::string& itemsFolder, const std::string& name) {
    Result<TreeRemoval> removed = removeTreeForGood(parentOf(itemsFolder) + "/info", name + ".trashinfo");
    (void)removed;
}

}  // namespace

TrashRules privilegedTrashRules(const std::vector<std::string>& homes, const std::set<std::string>& mounts) {
    TrashRules rules;
    for (const std::string& home : homes) {
        std::string real = resolvedOrAsIs(home);
        rules.homeTrashes.push_back((real == "/" ? "" : real) + "/.local/share/Trash");
    }
    rules.isMountPoint = [mounts](const std::string& path) { return mounts.contains(path); };
    return rules;
}

TrashRules currentTrashRules() {
    if (::geteuid() == 0) return privilegedTrashRules(passwordHomes(), mountPoints());
    TrashRules rules;
    std::string root = environment("GLIMSTER_ROOT");
    if (!root.empty()) rules.glimsterRoot = root;
    // The person's own settings decide for the person's own files; the real path lets a home
    // reached through a link match the real paths being judged.
    rules.homeTrashes.push_back(resolvedOrAsIs(homeTrashFolder()));
    rules.isMountPoint = isMountPoint;
    return rules;
}

std::optional<TrashMatch> trashHolding(const std::string& realPath, const TrashRules& rules) {
    if (rules.glimsterRoot) {
        std::string trash = *rules.glimsterRoot + "/.Trash";
        if (below(realPath, trash)) return TrashMatch{trash, false};
        return std::nullopt;
    }
    std::vector<std::string> parts = pieces(realPath);
    for (const std::string& part : parts)
        if (part == "." || part == "..") return std::nullopt;
    if (parts.size() > 3 && parts[0] == "Users" && parts[2] == ".Trash") return TrashMatch{joinedPrefix(parts, 3), false};
    if (parts.size() > 3 && parts[0] == "Volumes" && parts[2] == ".Trashes")
        return TrashMatch{joinedPrefix(parts, 3), false};
    for (const std::string& homeTrash : rules.homeTrashes)
        if (!homeTrash.empty() && below(realPath, homeTrash + "/files")) return TrashMatch{homeTrash + "/files", true};
    for (size_t k = 0; k < parts.size(); ++k) {
        bool topdirTrash = parts[k].starts_with(".Trash-") && allDigits(parts[k].substr(7)) &&
                           k + 2 < parts.size() && parts[k + 1] == "files";
        bool sharedTrash = parts[k] == ".Trash" && k + 3 < parts.size() && allDigits(parts[k + 1]) &&
                           parts[k + 2] == "files";
        if ((topdirTrash || sharedTrash) && rules.isMountPoint && rules.isMountPoint(joinedPrefix(parts, k)))
            return TrashMatch{joinedPrefix(parts, k + (topdirTrash ? 2 : 3)), true};
    }
    return std::nullopt;
}

int runRemoveRoot(const std::vector<std::string>& paths) {
    TrashRules rules = currentTrashRules();
    const bool privileged = ::geteuid() == 0;
    auto note = [&](const std::string& message) {
        if (!privileged) KelvorLog::write("remove-root", message);
    };
    int status = 0;
    for (const std::string& path : paths) {
        const std::string shownPath = escapeControls(path);
        Result<std::string> real = realPathOfEntry(path);
        std::optional<TrashMatch> trash = real ? trashHolding(*real, rules) : std::nullopt;
        if (!trash) {
            std::fprintf(stderr, "%s\n", trf(S::removeRootRefused, {shownPath}).c_str());
            status = 1;
            continue;
        }
        const std::string shownReal = escapeControls(*real);
        Result<TreeRemoval> removed = removeTreeForGood(parentOf(*real), nameOf(*real));
        if (!removed) {
            std::string why = escapeControls(removed.error().describe());
            std::fprintf(stderr, "%s\n", trf(S::removeRootFailed, {shownPath, why}).c_str());
            note("failed: " + *real + " — " + removed.error().describe());
            status = 1;
            continue;
        }
        for (const std::string& kept : removed->leftAlone)
            std::fprintf(stderr, "%s\n", trf(S::removeRootOtherFileSystem, {escapeControls(kept)}).c_str());
        if (removed->firstFailure) {
            std::string why = escapeControls(removed->firstFailure->describe());
            std::fprintf(stderr, "%s\n", trf(S::removeRootFailed, {shownPath, why}).c_str());
            note("failed: " + *real + " — " + removed->firstFailure->describe());
        }
        if (!removed->gone) {
            status = 1;
            continue;
        }
        if (trash->pairedInfo && parentOf(*real) == trash->itemsFolder) removePairedInfo(trash->itemsFolder, nameOf(*real));
        std::printf("%s\n", trf(S::removeRootDeleted, {shownReal}).c_str());
        note("deleted for good: " + *real);
    }
    return status;
}

}  // namespace kelvor
