#include "quillet/platform/trash.hpp"

#include <stdio.h>
#include <sys/stat.h>

#include <cerrno>
#include <map>

#include "quillet/platform/ds_store.hpp"
#include "quillet/platform/home.hpp"
#include "quillet/platform/path_parts.hpp"

namespace kelvor {

namespace {

// The Finder's naming for a taken name: "name 2", "name 3", … before the extension.
std::string candidateName(const std::string& name, int attempt) {
    if (attempt == 1) return name;
    size_t dot = name.rfind('.');
    if (dot == std::string::npos || dot == 0) return name + " " + std::to_string(attempt);
    return name.substr(0, dot) + " " + std::to_string(attempt) + name.substr(dot);
}

}  // namespace

std::string homeTrashFolder() { return homeDir() + "/.Trash"; }

Result<TrashMove> moveToTrash(const std::string& path, std::string_view, const std::string&) {
    struct stat item {}, trash {};
    std::string folder = homeTrashFolder();
    if (::lstat(path.c_str(), &item) != 0) return errnoError("lstat " + path);
    if (::stat(folder.c_str(), &trash) != 0) return errnoError("stat " + folder);
    // Never copy and delete: only the home Trash's own volume is served here.
    if (trash.st_dev != item.st_dev) return Error{EXDEV, "the Trash is on another volume than " + path};
    for (int attempt = 1; attempt < 10000; ++attempt) {
        std::string destination = folder + "/" + candidateName(nameOf(path), attempt);
        if (::renamex_np(path.c_str(), destination.c_str(), RENAME_EXCL) == 0) return TrashMove{destination, ""};
        if (errno != EEXIST) return errnoError("rename " + path + " to " + destination);
    }
    return Error{EEXIST, "every name in the Trash is taken for " + path};
}

std::vector<std::string> trashFolders() { return {homeTrashFolder()}; }

std::string trashEntriesFolder(const std::string& trashFolder) { return trashFolder; }

// The Finder keeps its put-back records in the Trash's ".DS_Store".
std::optional<std::string> trashRecordOrigin(const std::string& entryPath) {
    size_t slash = entryPath.rfind('/');
    if (slash == std::string::npos || slash == 0) return std::nullopt;
    std::map<std::string, PutBackInfo> records = DSStorePutBack::read(entryPath.substr(0, slash));
    auto found = records.find(entryPath.substr(slash + 1));
    if (found == records.end() || found->second.originalPath().empty()) return std::nullopt;
    return found->second.originalPath();
}

void forgetTrashRecord(const std::string&) {}

bool onSealedSystemVolume(const std::string& path) {
    if (path.starts_with("/System/Volumes/Data/")) return false;
    for (const char* prefix : {"/System/", "/bin/", "/sbin/", "/usr/"})
        if (path.starts_with(prefix)) return !path.starts_with("/usr/local/");
    return false;
}

}  // namespace kelvor
