#pragma once
// `kelvor --mode mcp`: the automation protocol on standard input and output.
#include "quillet/main/settings.hpp"

namespace kelvor {

// Serves until standard input closes, then answers what is left and returns 0. Standard output
// carries protocol lines only: the process's own stdout is pointed at standard error for the
// duration, so a stray print anywhere cannot corrupt the stream. Returns 1 only when the
// protocol stream cannot be set up.
int runMcp(const Settings& settings);

}  // namespace kelvor
