#pragma once
// The command line an assistant hands the person to take a clean back, ready to paste.
#include <optional>
#include <string>

namespace kelvor {

// `text` as one word for a POSIX shell: as it is when it holds only safe characters, else in
// single quotes with each single quote written as '\''.
std::string shellWord(const std::string& text);

// This executable followed by " --mode clean --undo", and the record's path when one is named
// (without one the newest record is taken back).
std::string undoCommand(const std::optional<std::string>& record = std::nullopt);

}  // namespace kelvor
