#include <gtest/gtest.h>

#include "quillet/platform/time_stamps.hpp"

namespace kelvor {
namespace {

TEST(TimeStamps, IsoStampsReadBackToTheSecond) {
    auto now = std::chrono::time_point_cast<std::chrono::seconds>(WallClock::now());
    std::string stamp = isoStamp(now);
    EXPECT_EQ(stamp.size(), 20u) << stamp;
    EXPECT_EQ(parseIsoStamp(stamp), now);
    EXPECT_EQ(isoStamp(WallClock::from_time_t(0)), "1970-01-01T00:00:00Z");
    for (const char* bad : {"", "2026-11-22", "2026-11-22T05:30:00", "2026-11-22T05:30:00+09:00", "yesterday at noon!!"})
        EXPECT_FALSE(parseIsoStamp(bad)) << bad;
}

TEST(TimeStamps, TrashDatesAreLocalWallClockWithoutAZone) {
    std::string stamp = localTrashStamp(WallClock::now());
    EXPECT_EQ(stamp.size(), 19u) << stamp;
    EXPECT_EQ(stamp[10], 'T');
    EXPECT_EQ(stamp.find('Z'), std::string::npos);
}

}  // namespace
}  // namespace kelvor
