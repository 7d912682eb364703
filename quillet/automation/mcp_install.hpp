#pragma once
// Connecting the AI assistants on this machine to Kelvor's automation server.
#include <string>
#include <vector>

#include "quillet/automation/assistant_clients.hpp"
#include "quillet/main/settings.hpp"

namespace kelvor {

enum class InstallDryRun { no, yes };

enum class ClientState {
    notInstalled,      // its folder is missing
    unreadable,        // the file exists but is not a JSON object we can edit; left untouched
    linked,            // the file is a link; never written through, left untouched
    alreadyConnected,  // an entry with our command and arguments is there; nothing written
    wouldConnect,      // dry run
    connected,
    couldNotConnect,   // the write failed; the file is as it was
};

struct ClientOutcome {
    JSONClient client;
    ClientState state = ClientState::notInstalled;
    std::string detail;  // why a write failed, for the log
};

// The server entry's command and arguments.
struct ServerEntry {
    std::string command;
    std::vector<std::string> args;
};

// The entry that starts this build's automation server.
ServerEntry kelvorServerEntry(const std::string& binaryPath);

// Adds or replaces the "kelvor" member under the client's key, keeping every other member in its
// order and the file's layout; the old bytes are copied to "<file>.bak" before any change.
ClientOutcome connectClient(const JSONClient& client, const ServerEntry& entry, InstallDryRun dryRun);

// `--mode mcp-install [--dry-run]`: connects every installed client and prints a line each.
// Returns 1 when a client could not be connected or its file could not be read.
int runMCPInstall(const Settings& settings);

}  // namespace kelvor
