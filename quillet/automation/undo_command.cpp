#include "quillet/automation/undo_command.hpp"

#include "quillet/platform/app_paths.hpp"

namespace kelvor {

std::string shellWord(const std::string& text) {
    static constexpr const char* SAFE = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/._-+=:,@";
    if (!text.empty() && text.find_first_not_of(SAFE) == std::string::npos) return text;
    std::string quoted = "'";
    for (char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

std::string undoCommand(const std::optional<std::string>& record) {
    std::string command = shellWord(runningExecutablePath()) + " --mode clean --undo";
    if (record) command += " " + shellWord(*record);
    return command;
}

}  // namespace kelvor
