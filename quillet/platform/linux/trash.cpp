#include "quillet/platform/trash.hpp"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "quillet/platform/trash_info.hpp"
#include "quillet/platform/fsops.hpp"
#include "quillet/platform/home.hpp"
#include "quillet/platform/mount_table.hpp"
#include "quillet/platform/path_parts.hpp"
#include "quillet/records/file_bytes.hpp"

namespace kelvor {

namespace {

// The longest name we give an entry, so that "<name>.trashinfo" fits in a 255-byte name.
constexpr size_t MAX_ENTRY_NAME = 200;

// Creates each missing folder of `path` with `mode`; an existing link is never accepted.
bool ensureFolder(const std::string& path, mode_t mode) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) == 0) return S_ISDIR(info.st_mode);
    if (path != "/" && !ensureFolder(parentOf(path), 0700)) return false;
    if (::mkdir(path.c_str(), mode) != 0 && errno != EEXIST) return false;
    return ::lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// A mount's Trash for this user: "$top/.Trash/$uid" when ".Trash" is a real folder with the
// sticky bit, else "$top/.Trash-$uid".
std::string topTrashFolder(const std::string& top, bool create) {
    std::string base = top == "/" ? "" : top;
    std::string uid = std::to_string(::getuid());
    struct stat shared {};
    if (::lstat((base + "/.Trash").c_str(), &shared) == 0 && S_ISDIR(shared.st_mode) && (shared.st_mode & S_ISVTX)) {
        std::string folder = base + "/.Trash/" + uid;
        struct stat own {};
        if (::lstat(folder.c_str(), &own) == 0) {
            if (S_ISDIR(own.st_mode) && own.st_uid == ::getuid()) return folder;
        } else if (create && ::mkdir(folder.c_str(), 0700) == 0) {
            return folder;
        }
    }
    std::string folder = base + "/.Trash-" + uid;
    struct stat own {};
    if (::lstat(folder.c_str(), &own) == 0) return S_ISDIR(own.st_mode) && own.st_uid == ::getuid() ? folder : "";
    if (create && ::mkdir(folder.c_str(), 0700) == 0) return folder;
    return "";
}

std::string candidateName(const std::string& name, int attempt) {
    std::string base = name.size() > MAX_ENTRY_NAME ? name.substr(0, MAX_ENTRY_NAME) : name;
    return attempt == 1 ? base : base + "." + std::to_string(attempt);
}

// The Trash folder that holds `entryPath` directly in its "files/", or "".
std::string trashOfEntry(const std::string& entryPath) {
    std::string files = parentOf(entryPath);
    if (nameOf(files) != "files") return "";
    return parentOf(files);
}

// The top directory that relative "Path=" values of `trash` are relative to; "" for the home Trash.
std::string topOfTrash(const std::string& trash) {
    if (trash == homeTrashFolder()) return "";
    std::string parent = parentOf(trash);
    if (nameOf(trash).starts_with(".Trash-")) return parent;
    return parentOf(parent);  // "$top/.Trash/$uid"
}

std::string slurp(const std::string& path) {
    int descriptor = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (descriptor < 0) return "";
    std::string bytes;
    char buffer[4096];
    ssize_t got;
    // A put-back record is a few lines; anything past 64 KiB is not one.
    while ((got = ::read(descriptor, buffer, sizeof buffer)) > 0 && bytes.size() < 65536)
        bytes.append(buffer, static_cast<size_t>(got));
    ::close(descriptor);
    return bytes;
}

}  // namespace

std::string homeTrashFolder() {
    std::string dataHome = environment("XDG_DATA_HOME");
    // The freedesktop.org rule: an unset or relative XDG_DATA_HOME means the default.
    if (dataHome.empty() || dataHome.front() != '/') dataHome = homeDir() + "/.local/share";
    return dataHome + "/Trash";
}

Result<TrashMove> moveToTrash(const std::string& path, std::string_view deletionDate, const std::string& recordAs) {
    struct stat item {};
    if (::lstat(path.c_str(), &item) != 0) return errnoError("lstat " + path);
    std::string trash = homeTrashFolder();
    std::string recordedPath = recordAs.empty() ? path : recordAs;
    struct stat home {};
    bool homeReady = ensureFolder(trash + "/files", 0700) && ensureFolder(trash + "/info", 0700) &&
                     ::stat((trash + "/files").c_str(), &home) == 0;
    if (!homeReady || home.st_dev != item.st_dev) {
        std::string top = mountTopOf(path);
        trash = topTrashFolder(top, true);
        if (trash.empty()) return Error{EACCES, "no usable Trash on the mount of " + path};
        if (!ensureFolder(trash + "/files", 0700) || !ensureFolder(trash + "/info", 0700))
            return errnoError("create " + trash);
        // Below the mount's top the record is relative to it; anything else stays absolute.
        if (top == "/") recordedPath = recordedPath.substr(1);
        else if (recordedPath.starts_with(top + "/")) recordedPath = recordedPath.substr(top.size() + 1);
    }
    struct stat files {};
    if (::stat((trash + "/files").c_str(), &files) != 0) return errnoError("stat " + trash);
    // Never copy and delete: a Trash on another device is no Trash for this item.
    if (files.st_dev != item.st_dev) return Error{EXDEV, "the Trash is on another file system than " + path};

    std::string text = trashInfoText(recordedPath, deletionDate);
    for (int attempt = 1; attempt < 10000; ++attempt) {
        std::string name = candidateName(nameOf(path), attempt);
        std::string info = trash + "/info/" + name + ".trashinfo";
        std::string destination = trash + "/files/" + name;
        int descriptor = ::open(info.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
        if (descriptor < 0) {
            if (errno == EEXIST) continue;
            return errnoError("create " + info);
        }
        Result<void> wrote = writeAllBytes(descriptor, text, info);
        if (wrote && ::fsync(descriptor) != 0) wrote = errnoError("fsync " + info);
        ::close(descriptor);
        if (!wrote) {
            ::unlink(info.c_str());
            return wrote.error();
        }
        // The rename must not replace an entry whose record went missing.
        Result<void> renamed = FileOps::real().rename(path, destination);
        if (renamed) return TrashMove{destination, info};
        ::unlink(info.c_str());
        if (renamed.error().kind == ErrorKind::exists) continue;
        return renamed.error();
    }
    return Error{EEXIST, "every name in the Trash is taken for " + path};
}

std::vector<std::string> trashFolders() {
    std::vector<std::string> folders;
    std::string home = homeTrashFolder();
    struct stat info {};
    if (::lstat(home.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) folders.push_back(home);
    for (const std::string& point : mountPoints()) {
        std::string folder = topTrashFolder(point, false);
        if (!folder.empty() && folder != home &&
            std::find(folders.begin(), folders.end(), folder) == folders.end())
            folders.push_back(folder);
    }
    return folders;
}

std::string trashEntriesFolder(const std::string& trashFolder) { return trashFolder + "/files"; }

std::optional<std::string> trashRecordOrigin(const std::string& entryPath) {
    std::string trash = trashOfEntry(entryPath);
    if (trash.empty()) return std::nullopt;
    std::optional<TrashInfo> info = parseTrashInfo(slurp(trash + "/info/" + nameOf(entryPath) + ".trashinfo"));
    if (!info) return std::nullopt;
    if (info->path.front() == '/') return info->path;
    std::string top = topOfTrash(trash);
    if (top.empty()) return std::nullopt;  // the home Trash records absolute paths only
    return (top == "/" ? "" : top) + "/" + info->path;
}

void forgetTrashRecord(const std::string& entryPath) {
    std::string trash = trashOfEntry(entryPath);
    if (!trash.empty()) ::unlink((trash + "/info/" + nameOf(entryPath) + ".trashinfo").c_str());
}

bool onSealedSystemVolume(const std::string&) { return false; }

}  // namespace kelvor
