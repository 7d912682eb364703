#pragma once
// The environment the person's login shell ends up with, which may relocate tool stores that a
// program started from the desktop never sees in its own environment.
#include <chrono>
#include <map>
#include <string>
#include <string_view>

namespace kelvor {

// How long the login shell may take before it is killed and its environment given up.
inline constexpr std::chrono::milliseconds LOGIN_SHELL_TIME_LIMIT{3000};

// Runs `shell` as a login shell (`shell -l -c '/usr/bin/env -0'`, standard input from /dev/null) and returns
// the environment it prints. Empty when the shell cannot start, exits non-zero or outlives
// `timeLimit` (it is then killed). Never throws.
std::map<std::string, std::string> readLoginShellEnvironment(const std::string& shell,
                                                             std::chrono::milliseconds timeLimit);

// NUL-separated "NAME=value" records to a map. A record without "=" or with an empty or
// non-identifier name is skipped; text a profile printed before the first record is dropped.
std::map<std::string, std::string> parseNulEnvironment(std::string_view bytes);

}  // namespace kelvor
