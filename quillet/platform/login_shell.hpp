#pragma once
// The environment the person's login shell ends up with, which may relocate tool stores that a
// program started from the desktop never sees in its own environment.
#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace kelvor {

// How long the login shell may take before it is killed and its environment given up.
inline constexpr std::chrono::milliseconds LOGIN_SHELL_TIME_LIMIT{3000};

// The most a login shell may print before its read is given up.
inline constexpr std::size_t LOGIN_SHELL_OUTPUT_LIMIT = 1 << 20;

// Why a login shell's environment could not be taken.
enum class LoginReadFailure {
    cannotStart,    // no pipe, or the shell could not be started
    timedOut,       // the shell had not finished within the time limit
    exitedNonZero,  // the shell exited with a failure or was ended by a signal
    tooMuchOutput,  // it printed more than LOGIN_SHELL_OUTPUT_LIMIT bytes
};

// A short English reason for the log.
const char* loginReadFailureReason(LoginReadFailure failure);

struct LoginShellRead {
    std::map<std::string, std::string> environment;  // empty on failure
    std::optional<LoginReadFailure> failure;
};

// Runs `shell` as a login shell (`shell -l -c '/usr/bin/env -0'`, standard input from /dev/null) in
// a process group of its own, and returns the environment it prints. The whole read, the wait
// included, ends by `timeLimit`; the shell's process group (a profile's background jobs too) is
// killed when the read ends, whatever the outcome. Output past LOGIN_SHELL_OUTPUT_LIMIT is refused.
// The shell is listed in OurSpawns while it runs. Never throws.
LoginShellRead readLoginShellEnvironment(const std::string& shell, std::chrono::milliseconds timeLimit);

// NUL-separated "NAME=value" records to a map. A record without "=" or with an empty or
// non-identifier name is skipped; text a profile printed before the first record is dropped.
std::map<std::string, std::string> parseNulEnvironment(std::string_view bytes);

}  // namespace kelvor
