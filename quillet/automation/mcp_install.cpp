#include "quillet/automation/mcp_install.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <optional>

#include <nlohmann/json.hpp>

#include "quillet/automation/json_layout.hpp"
#include "quillet/i18n/text.hpp"
#include "quillet/log/log.hpp"
#include "quillet/platform/app_paths.hpp"
#include "quillet/records/atomic_write.hpp"
#include "quillet/platform/home.hpp"

namespace kelvor {

namespace {

using Json = nlohmann::ordered_json;

// What was on disk when the file was read, so a write can tell that someone else changed it.
struct Snapshot {
    bool exists = false;
    bool linked = false;
    bool regular = false;
    struct stat info {};
    std::string bytes;
    bool readable = false;
};

bool sameFile(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
           a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

Snapshot takeSnapshot(const std::string& path) {
    Snapshot snapshot;
    if (::lstat(path.c_str(), &snapshot.info) != 0) return snapshot;
    snapshot.exists = true;
    snapshot.linked = S_ISLNK(snapshot.info.st_mode);
    snapshot.regular = S_ISREG(snapshot.info.st_mode);
    if (!snapshot.regular) return snapshot;
    int descriptor = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (descriptor < 0) return snapshot;
    char buffer[65536];
    for (;;) {
        ssize_t got = ::read(descriptor, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) {
            ::close(descriptor);
            return snapshot;
        }
        if (got == 0) break;
        snapshot.bytes.append(buffer, static_cast<size_t>(got));
    }
    ::close(descriptor);
    snapshot.readable = true;
    return snapshot;
}

// The document as an object, or none when it is not one we may edit. Comments are not JSON:
// a file that has them is left alone rather than rewritten without them.
std::optional<Json> parseSettings(const std::string& bytes, const std::string& key) {
    if (bytes.find_first_not_of(" \t\r\n") == std::string::npos) return Json::object();
    Json document = Json::parse(bytes, nullptr, /*allow_exceptions=*/false, /*ignore_comments=*/false);
    if (document.is_discarded() || !document.is_object()) return std::nullopt;
    if (document.contains(key) && !document[key].is_object()) return std::nullopt;
    return document;
}

bool entryMatches(const Json& document, const std::string& key, const ServerEntry& entry) {
    if (!document.contains(key)) return false;
    const Json& servers = document[key];
    if (!servers.contains("kelvor") || !servers["kelvor"].is_object()) return false;
    const Json& ours = servers["kelvor"];
    if (!ours.contains("command") || ours["command"] != entry.command) return false;
    if (!ours.contains("args") || !ours["args"].is_array()) return entry.args.empty() && !ours.contains("args");
    return ours["args"] == Json(entry.args);
}

// A file written by root in a person's home stays theirs.
void keepOwnerAndMode(const std::string& path, uid_t owner, gid_t group, mode_t mode) {
    int descriptor = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (descriptor < 0) return;
    if (::geteuid() == 0) (void)::fchown(descriptor, owner, group);
    (void)::fchmod(descriptor, mode & 07777);
    ::close(descriptor);
}

ClientOutcome failed(const JSONClient& client, ClientState state, std::string detail) {
    KelvorLog::write("mcp-install", client.name + ": " + detail);
    return {client, state, std::move(detail)};
}

}  // namespace

ServerEntry kelvorServerEntry(const std::string& binaryPath) { return {binaryPath, {"--mode", "mcp"}}; }

ClientOutcome connectClient(const JSONClient& client, const ServerEntry& entry, InstallDryRun dryRun) {
    struct stat folder {};
    if (::stat(client.dir.c_str(), &folder) != 0 || !S_ISDIR(folder.st_mode)) return {client, ClientState::notInstalled, ""};

    // The assistant may rewrite its own file while we work; start over when it did.
    for (int attempt = 0; attempt < 3; ++attempt) {
        Snapshot before = takeSnapshot(client.file);
        if (before.linked) return failed(client, ClientState::linked, client.file + " is a symbolic link");
        if (before.exists && (!before.regular || !before.readable))
            return failed(client, ClientState::unreadable, client.file + " is not a readable file");
        std::optional<Json> document = parseSettings(before.bytes, client.key);
        if (!document) return failed(client, ClientState::unreadable, client.file + " is not a JSON object");
        if (entryMatches(*document, client.key, entry)) return {client, ClientState::alreadyConnected, ""};
        if (dryRun == InstallDryRun::yes) return {client, ClientState::wouldConnect, ""};

        JsonLayout layout = detectJsonLayout(before.bytes);
        if (!document->contains(client.key)) (*document)[client.key] = Json::object();
        (*document)[client.key]["kelvor"] = Json{{"command", entry.command}, {"args", entry.args}};
        std::string rewritten = renderJson(*document, layout);

        std::error_code ignored;
        std::filesystem::create_directories(std::filesystem::path(client.file).parent_path(), ignored);
        Snapshot now = takeSnapshot(client.file);
        if (now.exists != before.exists || (before.exists && !sameFile(before.info, now.info))) continue;
        if (before.exists) {
            if (Result<void> saved = writeFileAtomically(client.file + ".bak", before.bytes); !saved)
                return failed(client, ClientState::couldNotConnect, saved.error().describe());
            keepOwnerAndMode(client.file + ".bak", before.info.st_uid, before.info.st_gid, before.info.st_mode);
        }
        if (Result<void> written = writeFileAtomically(client.file, rewritten); !written)
            return failed(client, ClientState::couldNotConnect, written.error().describe());
        if (before.exists)
            keepOwnerAndMode(client.file, before.info.st_uid, before.info.st_gid, before.info.st_mode);
        else
            keepOwnerAndMode(client.file, folder.st_uid, folder.st_gid, 0600);
        KelvorLog::write("mcp-install", "connected " + client.name + " in " + client.file);
        return {client, ClientState::connected, ""};
    }
    return failed(client, ClientState::couldNotConnect, client.file + " kept changing while it was being edited");
}

int runMCPInstall(const Settings& settings) {
    bool dryRun = std::find(settings.args.begin(), settings.args.end(), "--dry-run") != settings.args.end();
    std::string binary = runningExecutablePath();
    std::printf("%s\n", trf(S::mcpInstallHeading, {binary}).c_str());
    ServerEntry entry = kelvorServerEntry(binary);

    int installed = 0, connectable = 0, failures = 0;
    for (const JSONClient& client : jsonClients(homeDir(), applicationConfigDir())) {
        ClientOutcome outcome = connectClient(client, entry, dryRun ? InstallDryRun::yes : InstallDryRun::no);
        std::string said;
        switch (outcome.state) {
            case ClientState::notInstalled: said = trf(S::mcpInstallNotInstalled); break;
            case ClientState::unreadable: said = trf(S::mcpInstallUnreadable, {client.file}); break;
            case ClientState::linked: said = trf(S::mcpInstallLinked, {client.file}); break;
            case ClientState::alreadyConnected: said = trf(S::mcpInstallAlreadyConnected); break;
            case ClientState::wouldConnect: said = trf(S::mcpInstallWouldConnect); break;
            case ClientState::connected: said = trf(S::mcpInstallConnected); break;
            case ClientState::couldNotConnect: said = trf(S::mcpInstallCouldNotConnect); break;
        }
        std::printf("  %s: %s\n", client.name.c_str(), said.c_str());
        if (outcome.state != ClientState::notInstalled) ++installed;
        if (outcome.state == ClientState::wouldConnect || outcome.state == ClientState::connected) ++connectable;
        if (outcome.state == ClientState::unreadable || outcome.state == ClientState::linked ||
            outcome.state == ClientState::couldNotConnect)
            ++failures;
    }

    if (installed == 0) {
        std::printf("%s\n", trf(S::mcpInstallNoClient).c_str());
        return 0;
    }
    if (dryRun) {
        std::printf("%s\n%s\n", trf(S::mcpInstallDryRun).c_str(),
                    trf(S::mcpInstallWouldConnectCount, {std::to_string(connectable)}).c_str());
    } else {
        std::printf("%s\n", trf(S::mcpInstallStartSession).c_str());
        if (failures > 0) std::printf("%s\n", trf(S::mcpInstallFailedCount, {std::to_string(failures)}).c_str());
    }
    return failures > 0 ? 1 : 0;
}

}  // namespace kelvor
