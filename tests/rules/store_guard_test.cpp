#include "quillet/rules/store_guard.hpp"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using testing::TempHome;

TEST(StoreGuard, RefusesTheRootTheHomeTheSystemAndOtherPeoplesFolders) {
    TempHome home;
    fs::create_directories(home / "theirs");
    unsigned me = ::geteuid();
    if (me == 0) {
        ASSERT_EQ(::chown((home / "theirs").c_str(), 65534, 65534), 0);
    }
    struct stat info {};
    ASSERT_EQ(::stat((home / "theirs").c_str(), &info), 0);
    std::string realHome = fs::canonical(home.path()).string();
    std::string theirs = fs::canonical(home / "theirs").string();
    const StoreOrigin byVariable{true, false}, byLink{false, true}, byDefault{};
    EXPECT_EQ(storeRefusal(theirs, realHome, byVariable, info.st_uid), std::nullopt) << "its owner may";
    EXPECT_EQ(storeRefusal(theirs, realHome, byVariable, info.st_uid + 1), StoreRefusal::notYours);
    EXPECT_EQ(storeRefusal(theirs, realHome, byLink, info.st_uid + 1), StoreRefusal::notYours);
    EXPECT_EQ(storeRefusal(theirs, realHome, byDefault, info.st_uid + 1), std::nullopt)
        << "the default place is checked by the rule's evidence, not here";
    EXPECT_EQ(storeRefusal("/", realHome, {}, me), StoreRefusal::homeOrAbove);
    EXPECT_EQ(storeRefusal(realHome, realHome, {}, me), StoreRefusal::homeOrAbove);
    EXPECT_EQ(storeRefusal("/usr", realHome, {}, me), StoreRefusal::systemFolder);
    EXPECT_FALSE(isTopLevelSystemFolder("/usr/share"));
    EXPECT_FALSE(isTopLevelSystemFolder("/usrx"));
}

TEST(StoreGuard, TheRootOfAMountIsRefusedButNotWhatIsInIt) {
    if (::geteuid() != 0) GTEST_SKIP() << "mounting needs root";
    TempHome home;
    fs::create_directories(home / "disk");
    ASSERT_EQ(::mount("tmpfs", (home / "disk").c_str(), "tmpfs", 0, "size=1m"), 0) << std::strerror(errno);
    fs::create_directories(home / "disk/inside");
    std::string realHome = fs::canonical(home.path()).string();
    EXPECT_EQ(storeRefusal(fs::canonical(home / "disk").string(), realHome, {}, 0), StoreRefusal::mountRoot);
    EXPECT_EQ(storeRefusal(fs::canonical(home / "disk/inside").string(), realHome, {}, 0), std::nullopt);
    ASSERT_EQ(::umount((home / "disk").c_str()), 0);
}

}  // namespace
}  // namespace kelvor
