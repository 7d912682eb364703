#pragma once
// Names from the file system may hold control characters; they are escaped before a terminal or
// the log sees them, so that a file name cannot rewrite the screen or forge a log line.
#include <string>
#include <string_view>

namespace kelvor {

// `text` with each control byte (below 0x20, and 0x7F) written as "\n", "\t" or "\xNN", and "\\"
// doubled; all other bytes unchanged.
std::string escapedForDisplay(std::string_view text);

}  // namespace kelvor
