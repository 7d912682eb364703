#pragma once
// The recorded commands that bring a removed store back ("ollama pull llama3"): which of them
// Kelvor will run, and running one without a shell.
#include <optional>
#include <string>
#include <vector>

namespace kelvor {

// The program names of the owner tools Kelvor knows ("ollama", "npm", "hf" …). Built once.
const std::vector<std::string>& knownToolBinaries();

// Where `name` is on PATH as an executable regular file; none when it is not there.
std::optional<std::string> findOnPath(const std::string& name);

// Whether a recorded command may be run: a plain argv whose program is a bare name of a known
// owner tool, no word empty or carrying shell metacharacters or control characters, the program
// found on PATH, and neither it nor its folder writable by anyone but root or this user.
bool validRestoreCmd(const std::vector<std::string>& command);

// Whether the command brings back the very version that was removed: it names one (a "@1.2",
// "==1.2", "@sha256:…" pin, or a --version/--revision value) rather than whatever is newest.
bool commandRestoresExactly(const std::vector<std::string>& command);

// How running a command ended.
enum class CommandRun { succeeded, couldNotStart, failed };

// Runs `command` (validRestoreCmd must have accepted it) with its program as found on PATH,
// standard input from /dev/null, and waits for it.
CommandRun runRecordedCommand(const std::vector<std::string>& command);

}  // namespace kelvor
