#include "quillet/records/record_lock.hpp"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "quillet/log/log.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

using testing::TempHome;

// True when another open of the lock file could take it now, as another process would.
bool freeForOthers(const std::string& record) {
    return FileLock::acquire(recordLockPath(record), LockWait::dontWait).ok();
}

// A child process that holds the record's file lock until letGo().
struct ForeignHolder {
    pid_t child = -1;
    int release = -1;

    explicit ForeignHolder(const std::string& record) {
        KelvorLog::drain();  // no log line in flight when the child is made
        int held[2], go[2];
        if (::pipe(held) != 0 || ::pipe(go) != 0) return;
        child = ::fork();
        if (child == 0) {
            ::close(held[0]);
            ::close(go[1]);
            Result<FileLock> lock = FileLock::acquire(recordLockPath(record), LockWait::wait);
            char byte = lock.ok() ? 'y' : 'n';
            if (::write(held[1], &byte, 1) != 1) ::_exit(2);
            ::read(go[0], &byte, 1);  // end of file: the parent let go
            ::_exit(0);
        }
        ::close(held[1]);
        ::close(go[0]);
        char byte = 0;
        if (::read(held[0], &byte, 1) != 1 || byte != 'y') child = -1;
        ::close(held[0]);
        release = go[1];
    }
    void letGo() {
        if (release >= 0) ::close(release);
        release = -1;
        if (child > 0) ::waitpid(child, nullptr, 0);
        child = -1;
    }
    ~ForeignHolder() { letGo(); }
};

TEST(RecordLock, TheSameThreadEntersAgainAndTheFileLockLastsUntilTheOuterHoldEnds) {
    TempHome home;
    std::string record = home / "record.json";
    {
        Result<RecordLock> outer = RecordLock::hold(record, LockWait::dontWait);
        ASSERT_TRUE(outer.ok()) << outer.error().describe();
        EXPECT_FALSE(freeForOthers(record));
        {
            Result<RecordLock> inner = RecordLock::hold(record, LockWait::dontWait);
            ASSERT_TRUE(inner.ok()) << "a holder re-enters: " << inner.error().describe();
        }
        EXPECT_FALSE(freeForOthers(record)) << "the inner hold ending must not release the outer one";
        RecordLock moved = std::move(outer.value());
        EXPECT_FALSE(freeForOthers(record)) << "a moved hold still holds";
    }
    EXPECT_TRUE(freeForOthers(record));
    Result<RecordLock> one = RecordLock::hold(home / "one.json", LockWait::dontWait);
    Result<RecordLock> two = RecordLock::hold(home / "two.json", LockWait::dontWait);
    EXPECT_TRUE(one.ok() && two.ok()) << "other records are separate locks";
}

TEST(RecordLock, AnotherThreadWaitsUntilTheHolderLeaves) {
    TempHome home;
    std::string record = home / "record.json";
    std::atomic<bool> holderLeft = false;
    std::atomic<bool> enteredWhileHeld = false;
    Result<RecordLock> held = RecordLock::hold(record, LockWait::wait);
    ASSERT_TRUE(held.ok());
    std::thread other([&] {
        // dontWait speaks of other processes; inside the process a thread always waits its turn.
        Result<RecordLock> mine = RecordLock::hold(record, LockWait::dontWait);
        if (!mine.ok() || !holderLeft) enteredWhileHeld = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    holderLeft = true;
    { RecordLock leaving = std::move(held.value()); }
    other.join();
    EXPECT_FALSE(enteredWhileHeld);
}

TEST(RecordLock, AHolderInAnotherProcessIsBusyToDontWaitAndAWaitingAttemptGetsItWhenItLetsGo) {
    TempHome home;
    std::string record = home / "record.json";
    ForeignHolder foreign(record);
    ASSERT_GT(foreign.child, 0);
    std::string outcome = withRecordLock(
        record, LockWait::dontWait,
        [](const Error& error) { return std::string(error.kind == ErrorKind::busy ? "busy" : error.describe()); },
        [] { return std::string("ran"); });
    EXPECT_EQ(outcome, "busy");
    // The failed attempt left nothing claimed in this process: the next one really waits.
    std::thread releaser([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(150));
        foreign.letGo();
    });
    auto start = std::chrono::steady_clock::now();
    Result<RecordLock> held = RecordLock::hold(record, LockWait::wait);
    auto waited = std::chrono::steady_clock::now() - start;
    releaser.join();
    ASSERT_TRUE(held.ok()) << held.error().describe();
    EXPECT_GE(waited, std::chrono::milliseconds(100));
}

TEST(RecordLock, AMissingFolderIsAnErrorThatIsNotBusy) {
    TempHome home;
    Result<RecordLock> held = RecordLock::hold(home / "absent/record.json", LockWait::dontWait);
    ASSERT_FALSE(held.ok());
    EXPECT_EQ(held.error().kind, ErrorKind::notFound) << held.error().describe();
    // The failed attempt did not leave the record claimed by this thread.
    std::filesystem::create_directories(home / "absent");
    EXPECT_TRUE(RecordLock::hold(home / "absent/record.json", LockWait::dontWait).ok());
    EXPECT_TRUE(freeForOthers(home / "absent/record.json"));
}

}  // namespace
}  // namespace kelvor
