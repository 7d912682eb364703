#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <filesystem>

#include "quillet/guards/guards.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

// Sets a path's modification time (not through a link).
void setMtime(const std::string& path, std::int64_t seconds) {
    struct timespec times[2] = {{seconds, 0}, {seconds, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << path;
}

TEST(RecentWrite, AnOldFolderHoldingOneFreshFileIsRecent) {
    testing::TempHome home;
    const std::string top = home / "store";
    const std::string fresh = top + "/a/b/c/fresh.bin";
    testing::writeFile(top + "/old.bin", "o");
    testing::writeFile(fresh, "f");
    const std::int64_t now = ::time(nullptr), dayAgo = now - 86400;
    for (const std::string& p : {top + "/old.bin", top + "/a/b/c", top + "/a/b", top + "/a", top}) setMtime(p, dayAgo);
    setMtime(fresh, now - 60);
    EXPECT_TRUE(treeHasRecentWrite(top, 600));
    EXPECT_FALSE(treeHasRecentWrite(top, 30)) << "a minute ago is outside a 30-second window";
    setMtime(fresh, dayAgo);
    EXPECT_FALSE(treeHasRecentWrite(top, 600));
    EXPECT_FALSE(treeHasRecentWrite(home / "missing", 600));
}

TEST(RecentWrite, TheCutoffIsTheClocksAndALinkIsNotFollowed) {
    testing::TempHome home;
    const std::string top = home / "store";
    std::filesystem::create_directories(top);
    testing::writeFile(home / "elsewhere/fresh", "f");
    std::filesystem::create_directory_symlink(home / "elsewhere", top + "/link");
    const std::int64_t base = 1'700'000'000;
    setMtime(top + "/link", base);
    setMtime(top, base);
    ManualClock clock{std::chrono::system_clock::time_point(std::chrono::seconds(base + 600))};
    EXPECT_FALSE(treeHasRecentWrite(top, 600, clock)) << "exactly at the cutoff is not later than it";
    EXPECT_TRUE(treeHasRecentWrite(top, 601, clock));
    clock.advance(std::chrono::hours(1));
    EXPECT_FALSE(treeHasRecentWrite(top, 600, clock)) << "the fresh file behind the link is not looked at";
}

TEST(RecentWrite, TheWindowComesFromTheMinutesSetting) {
    testing::TempHome home;
    const std::string defaults = home / ".kelvor/defaults.json";
    EXPECT_EQ(recentWriteWindow(), 600) << "no setting";
    struct Case {
        std::string stored;
        std::int64_t seconds;
    };
    const Case cases[] = {{"0", 600}, {"1", 60}, {"2", 120}, {"120", 7200}, {"500", 7200},
                          {"-5", 600}, {"\"30\"", 600}, {"2.5", 600}, {"18446744073709551615", 7200}};
    for (const Case& c : cases) {
        testing::writeFile(defaults, "{\"kelvor.recentWriteMinutes\": " + c.stored + "}");
        EXPECT_EQ(recentWriteWindow(), c.seconds) << c.stored;
    }
}

TEST(RecentWrite, OnlyABooleanFalseTurnsTheCheckOff) {
    testing::TempHome home;
    const std::string defaults = home / ".kelvor/defaults.json";
    EXPECT_TRUE(recentWriteGuardOn());
    for (std::string stored : {"true", "\"false\"", "0", "null"}) {
        testing::writeFile(defaults, "{\"kelvor.recentWriteGuard\": " + stored + "}");
        EXPECT_TRUE(recentWriteGuardOn()) << stored;
    }
    testing::writeFile(defaults, R"({"kelvor.recentWriteGuard": false, "kelvor.recentWriteMinutes": 3})");
    EXPECT_FALSE(recentWriteGuardOn());
    const std::string top = home / "busy";
    testing::writeFile(top + "/now.txt", "n");
    EXPECT_TRUE(checkGuards("npm", top, {}, std::nullopt, LiveSafe::no, RecentWriteCheck::run).empty());
    testing::writeFile(defaults, R"({"kelvor.recentWriteMinutes": 3})");
    std::vector<GuardViolation> found = checkGuards("npm", top, {}, std::nullopt, LiveSafe::no, RecentWriteCheck::run);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].reason,
              "files modified within 3 minutes — work may be in progress (Settings › Removing › Recently written)");
    EXPECT_FALSE(found[0].hard);
    EXPECT_TRUE(checkGuards("npm", top, {}, std::nullopt, LiveSafe::no, RecentWriteCheck::skip).empty());
}

}  // namespace
}  // namespace kelvor
