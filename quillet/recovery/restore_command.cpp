#include "quillet/recovery/restore_command.hpp"

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <set>
#include <string_view>

#include "quillet/guards/owner_guards.hpp"
#include "quillet/platform/our_spawns.hpp"

extern char** environ;

namespace kelvor {

namespace {

// Characters a shell would give a meaning to; a recorded word carrying one was not written by
// Kelvor, so the command is not run even though no shell is involved.
constexpr std::string_view SHELL_META = ";&|<>`$\\\"'*?[]{}()!~#";

bool plainWord(const std::string& word) {
    if (word.empty()) return false;
    for (unsigned char c : word)
        if (c < 0x20 || c == 0x7f || SHELL_META.find(static_cast<char>(c)) != std::string_view::npos) return false;
    return true;
}

// Only root or this user may be able to change what would run.
bool trustedByOwnerAndMode(const struct stat& info) {
    if (info.st_mode & (S_IWGRP | S_IWOTH)) return false;
    return info.st_uid == 0 || info.st_uid == ::geteuid();
}

bool trustedProgram(const std::string& path) {
    char resolved[PATH_MAX];
    if (!::realpath(path.c_str(), resolved)) return false;
    struct stat file {};
    if (::stat(resolved, &file) != 0 || !S_ISREG(file.st_mode) || !trustedByOwnerAndMode(file)) return false;
    std::string folder(resolved);
    folder = folder.substr(0, folder.rfind('/'));
    if (folder.empty()) folder = "/";
    struct stat above {};
    if (::stat(folder.c_str(), &above) != 0) return false;
    // A sticky folder writable by all (/tmp) still lets others plant names beside ours.
    return trustedByOwnerAndMode(above);
}

}  // namespace

const std::vector<std::string>& knownToolBinaries() {
    static const std::vector<std::string> binaries = [] {
        std::set<std::string> names;
        for (const OwnerGuard& guard : OWNER_GUARDS)
            for (std::string_view tool : guard.toolNames) {
                // "hf download" names a program and its first argument.
                std::string_view program = tool.substr(0, tool.find(' '));
                if (!program.empty()) names.emplace(program);
            }
        return std::vector<std::string>(names.begin(), names.end());
    }();
    return binaries;
}

std::optional<std::string> findOnPath(const std::string& name) {
    if (name.empty() || name.find('/') != std::string::npos) return std::nullopt;
    const char* path = std::getenv("PATH");
    std::string_view folders = path ? path : "";
    while (!folders.empty()) {
        std::string_view folder = folders.substr(0, folders.find(':'));
        folders.remove_prefix(std::min(folders.size(), folder.size() + 1));
        // Relative entries ("", ".") would run whatever the current folder holds.
        if (!folder.starts_with('/')) continue;
        std::string candidate = std::string(folder) + "/" + name;
        struct stat info {};
        if (::stat(candidate.c_str(), &info) == 0 && S_ISREG(info.st_mode) && ::access(candidate.c_str(), X_OK) == 0)
            return candidate;
    }
    return std::nullopt;
}

bool validRestoreCmd(const std::vector<std::string>& command) {
    if (command.empty()) return false;
    if (!std::all_of(command.begin(), command.end(), plainWord)) return false;
    const std::vector<std::string>& known = knownToolBinaries();
    if (std::find(known.begin(), known.end(), command.front()) == known.end()) return false;
    std::optional<std::string> program = findOnPath(command.front());
    return program && trustedProgram(*program);
}

bool commandRestoresExactly(const std::vector<std::string>& command) {
    for (std::size_t i = 1; i < command.size(); ++i) {
        const std::string& word = command[i];
        if ((word == "--version" || word == "--revision") && i + 1 < command.size()) return true;
        if (word.starts_with("--version=") || word.starts_with("--revision=")) return true;
        if (word.find("==") != std::string::npos || word.find("@sha256:") != std::string::npos) return true;
        std::size_t at = word.rfind('@');
        // "name@1.2.3" pins; "@scope/name" and "name@latest" do not.
        if (at != std::string::npos && at > 0 && at + 1 < word.size() && std::isdigit(static_cast<unsigned char>(word[at + 1])))
            return true;
    }
    return false;
}

CommandRun runRecordedCommand(const std::vector<std::string>& command) {
    if (command.empty()) return CommandRun::couldNotStart;
    std::optional<std::string> program = findOnPath(command.front());
    if (!program) return CommandRun::couldNotStart;
    std::vector<char*> argv;
    for (const std::string& word : command) argv.push_back(const_cast<char*>(word.c_str()));
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    // The tool's chatter goes to standard error: standard output may be a protocol stream.
    ::posix_spawn_file_actions_adddup2(&actions, 2, 1);
    pid_t child = -1;
    int started = ::posix_spawn(&child, program->c_str(), &actions, nullptr, argv.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    if (started != 0) return CommandRun::couldNotStart;
    OurSpawns::add(child);
    int status = 0;
    pid_t waited = -1;
    do {
        waited = ::waitpid(child, &status, 0);
    } while (waited < 0 && errno == EINTR);
    OurSpawns::remove(child);
    if (waited != child) return CommandRun::failed;
    // posix_spawn may report a failed exec only through the child's status 127.
    if (WIFEXITED(status) && WEXITSTATUS(status) == 127) return CommandRun::couldNotStart;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? CommandRun::succeeded : CommandRun::failed;
}

}  // namespace kelvor
