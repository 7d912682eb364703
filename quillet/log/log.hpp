#pragma once
// The program's one diagnostic log, "~/.kelvor/kelvor.log": one line per event, shared by every
// Kelvor process, rotated once to "kelvor.log.1" past 1 MiB. It never reports its own failures.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kelvor {

// A log larger than this many bytes is rotated before the next line is added.
inline constexpr std::uint64_t LOG_ROTATE_AT = 1048577;

namespace KelvorLog {

// Queues "<stamp>  [category] message" for the log of the current data folder; returns at once.
// Lines are applied in order by one writer thread.
void write(std::string_view category, std::string_view message);

// Waits until every queued line has been applied. Called before the process exits.
void drain();

// "Kelvor 1.0.14 · Linux 6.1.0 · 2 cores".
std::string header();

// The last `lines` lines of the log, reading at most `maxBytes` from its end when given.
std::string tail(int lines, std::optional<std::uint64_t> maxBytes = std::nullopt);

// The log's path: the data folder + "/kelvor.log".
std::string logPath();

}  // namespace KelvorLog

// One write done synchronously in `folder`: creates it, rotates "kelvor.log" when it has reached
// LOG_ROTATE_AT bytes (under an exclusive flock on "kelvor.log.rotate"), and appends `line`.
// The log is never opened through a link and only when it is a regular file of the person
// running. Failures and refusals drop the line silently.
void appendLogLine(const std::string& folder, std::string_view line);

// "<ISO 8601 stamp>  [category] message\n", control characters in category and message escaped so
// one call is always one line.
std::string formatLogLine(std::string_view category, std::string_view message);

}  // namespace kelvor
