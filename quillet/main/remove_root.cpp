#include "quillet/main/remove_root.hpp"

#include <cstdio>

#include "quillet/i18n/text.hpp"
#include "quillet/log/log.hpp"
#include "quillet/platform/home.hpp"
#include "quillet/platform/path_inside.hpp"
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

bool below(const std::string& path, const std::string& folder) {
    return path != folder && pathInside(path, folder);
}

}  // namespace

TrashRules currentTrashRules() {
    TrashRules rules;
    std::string root = environment("GLIMSTER_ROOT");
    if (!root.empty()) rules.glimsterRoot = root;
    rules.homeTrash = homeTrashFolder();
    rules.isMountPoint = isMountPoint;
    return rules;
}

bool insideATrash(const std::string& realPath, const TrashRules& rules) {
    if (rules.glimsterRoot) return realPath.starts_with(*rules.glimsterRoot + "/.Trash/") &&
                                   realPath.size() > rules.glimsterRoot->size() + 8;
    std::vector<std::string> parts = pieces(realPath);
    for (const std::string& part : parts)
        if (part == "." || part == "..") return false;
    if (parts.size() > 3 && parts[0] == "Users" && parts[2] == ".Trash") return true;
    if (parts.size() > 3 && parts[0] == "Volumes" && parts[2] == ".Trashes") return true;
    if (!rules.homeTrash.empty() && below(realPath, rules.homeTrash + "/files")) return true;
    for (size_t k = 0; k < parts.size(); ++k) {
        bool topdirTrash = parts[k].starts_with(".Trash-") && allDigits(parts[k].substr(7)) &&
                           k + 2 < parts.size() && parts[k + 1] == "files";
        bool sharedTrash = parts[k] == ".Trash" && k + 3 < parts.size() && allDigits(parts[k + 1]) &&
                           parts[k + 2] == "files";
        if ((topdirTrash || sharedTrash) && rules.isMountPoint && rules.isMountPoint(joinedPrefix(parts, k)))
            return true;
    }
    return false;
}

int runRemoveRoot(const std::vector<std::string>& paths) {
    TrashRules rules = currentTrashRules();
    int status = 0;
    for (const std::string& path : paths) {
        Result<std::string> real = realPathOfEntry(path);
        if (!real || !insideATrash(*real, rules)) {
            std::fprintf(stderr, "%s\n", trf(S::removeRootRefused, {path}).c_str());
            status = 1;
            continue;
        }
        size_t slash = real->rfind('/');
        std::string parent = slash == 0 ? "/" : real->substr(0, slash);
        Result<void> removed = removeTreeForGood(parent, real->substr(slash + 1));
        if (!removed) {
            std::fprintf(stderr, "%s\n", trf(S::removeRootFailed, {path, removed.error().describe()}).c_str());
            KelvorLog::write("remove-root", "failed: " + *real + " — " + removed.error().describe());
            status = 1;
            continue;
        }
        std::printf("%s\n", trf(S::removeRootDeleted, {*real}).c_str());
        KelvorLog::write("remove-root", "deleted for good: " + *real);
    }
    return status;
}

}  // namespace kelvor
