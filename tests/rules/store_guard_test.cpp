#include "quillet/rules/store_guard.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "tests/support/scoped_mount.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using testing::TempHome;

TEST(StoreGuard, RefusesTheRootTheHomeTheSystemAndOtherPeoplesFolders) {
    TempHome home;
    fs::create_directories(home / "theirs");
    const unsigned me = ::geteuid();
    if (me == 0) {
        ASSERT_EQ(::chown((home / "theirs").c_str(), 65534, 65534), 0);
    }
    struct stat info {};
    ASSERT_EQ(::stat((home / "theirs").c_str(), &info), 0);
    const std::string realHome = fs::canonical(home.path()).string(), theirs = fs::canonical(home / "theirs").string();
    const StoreOrigin byVariable{true, false}, byLink{false, true}, byDefault{};
    const std::tuple<std::string, StoreOrigin, unsigned, std::optional<StoreRefusal>, const char*> cases[] = {
        {theirs, byVariable, info.st_uid, std::nullopt, "its owner may"},
        {theirs, byVariable, info.st_uid + 1, StoreRefusal::notYours, "named by a variable"},
        {theirs, byLink, info.st_uid + 1, StoreRefusal::notYours, "reached through a link"},
        {theirs, byDefault, info.st_uid + 1, std::nullopt, "the default place is checked by the rule's evidence"},
        {"/", {}, me, StoreRefusal::homeOrAbove, "the root"},
        {realHome, {}, me, StoreRefusal::homeOrAbove, "the home"},
        {"/usr", {}, me, StoreRefusal::systemFolder, "the system"},
    };
    for (const auto& [path, origin, uid, refusal, why] : cases)
        EXPECT_EQ(storeRefusal(path, realHome, origin, uid), refusal) << path << ": " << why;
    EXPECT_FALSE(isTopLevelSystemFolder("/usr/share"));
    EXPECT_FALSE(isTopLevelSystemFolder("/usrx"));
}

TEST(StoreGuard, TheRootOfAMountIsRefusedButNotWhatIsInIt) {
    if (::geteuid() != 0) GTEST_SKIP() << "mounting needs root";
    TempHome home;
    fs::create_directories(home / "disk");
    testing::ScopedMount disk = testing::ScopedMount::tmpfs(home / "disk");
    ASSERT_TRUE(disk.mounted());
    fs::create_directories(home / "disk/inside");
    std::string realHome = fs::canonical(home.path()).string();
    EXPECT_EQ(storeRefusal(fs::canonical(home / "disk").string(), realHome, {}, 0), StoreRefusal::mountRoot);
    EXPECT_EQ(storeRefusal(fs::canonical(home / "disk/inside").string(), realHome, {}, 0), std::nullopt);
}

}  // namespace
}  // namespace kelvor
