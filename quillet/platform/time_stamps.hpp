#pragma once
// The time stamps written into records: ISO 8601 in UTC for Kelvor's own records, the local
// wall-clock form the freedesktop.org Trash asks for in its put-back records.
#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace kelvor {

using WallClock = std::chrono::system_clock;

// "2026-11-22T05:30:00Z"
std::string isoStamp(WallClock::time_point when);

// Reads isoStamp's form back; none for anything else.
std::optional<WallClock::time_point> parseIsoStamp(std::string_view text);

// "2026-11-22T06:30:00" in the local time zone, without a zone.
std::string localTrashStamp(WallClock::time_point when);

}  // namespace kelvor
