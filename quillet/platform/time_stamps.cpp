#include "quillet/platform/time_stamps.hpp"

#include <cstdio>
#include <ctime>

namespace kelvor {

namespace {

// `when` written with `format`, in UTC or in the local time zone.
std::string formatted(WallClock::time_point when, bool utc, const char* format) {
    std::time_t seconds = WallClock::to_time_t(when);
    std::tm parts{};
    if (utc) gmtime_r(&seconds, &parts);
    else localtime_r(&seconds, &parts);
    char text[32];
    std::strftime(text, sizeof text, format, &parts);
    return text;
}

}  // namespace

std::string isoStamp(WallClock::time_point when) { return formatted(when, true, "%Y-%m-%dT%H:%M:%SZ"); }

std::optional<WallClock::time_point> parseIsoStamp(std::string_view text) {
    if (text.size() != 20 || text[19] != 'Z') return std::nullopt;
    std::tm utc{};
    int year, month, day, hour, minute, second;
    char tail;
    if (std::sscanf(std::string(text).c_str(), "%4d-%2d-%2dT%2d:%2d:%2d%c", &year, &month, &day, &hour, &minute,
                    &second, &tail) != 7)
        return std::nullopt;
    utc.tm_year = year - 1900;
    utc.tm_mon = month - 1;
    utc.tm_mday = day;
    utc.tm_hour = hour;
    utc.tm_min = minute;
    utc.tm_sec = second;
    return WallClock::from_time_t(timegm(&utc));
}

std::string localTrashStamp(WallClock::time_point when) { return formatted(when, false, "%Y-%m-%dT%H:%M:%S"); }

}  // namespace kelvor
