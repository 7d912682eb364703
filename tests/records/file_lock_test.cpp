#include "quillet/records/file_lock.hpp"

#include <gtest/gtest.h>

#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

TEST(FileLock, ASecondHolderIsRefusedUntilTheFirstLetsGo) {
    testing::TempHome home;
    std::string path = home / "list.json.lock";
    {
        Result<FileLock> first = FileLock::acquire(path, LockWait::wait);
        ASSERT_TRUE(first.ok()) << first.error().describe();
        FileLock moved = std::move(first.value());
        Result<FileLock> second = FileLock::acquire(path, LockWait::dontWait);
        ASSERT_FALSE(second.ok());
        EXPECT_TRUE(FileLock::heldElsewhere(second.error())) << second.error().describe();
    }
    EXPECT_TRUE(FileLock::acquire(path, LockWait::dontWait).ok()) << "released with its holder";
    Result<FileLock> noFolder = FileLock::acquire(home / "absent/x.lock", LockWait::dontWait);
    ASSERT_FALSE(noFolder.ok());
    EXPECT_FALSE(FileLock::heldElsewhere(noFolder.error())) << noFolder.error().describe();
}

}  // namespace
}  // namespace kelvor
