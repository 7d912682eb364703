#include <unistd.h>

#include <gtest/gtest.h>

#include "quillet/guards/guards.hpp"
#include "tests/guards/fake_process_table.hpp"

namespace kelvor {
namespace {

using testing::FakeProcessTable;

TEST(QuitOwners, AsksThePersonsAppsToQuitAndReturnsTheOwnersStillRunning) {
    const std::int64_t me = ::getuid();
    FakeProcessTable table;
    table.procs = std::vector<Proc>{
        {.pid = 10, .ppid = 1, .path = "/opt/google/chrome/chrome", .args = "", .uid = me},
        {.pid = 11, .ppid = 10, .path = "/opt/google/chrome/chrome", .args = "", .uid = me},
        {.pid = 20, .ppid = 1, .path = "/usr/share/code/code", .args = "", .uid = me},
        {.pid = 30, .ppid = 1, .path = "/usr/local/bin/ollama", .args = "", .uid = me + 1},  // the service account's
        {.pid = 40, .ppid = 1, .path = "/usr/bin/bash", .args = "", .uid = me},  // nobody's app: never asked
    };
    table.endOnTerminate = {10, 11};  // Chrome quits; VS Code ignores the request
    ManualClock clock;
    const double start = clock.monotonicSeconds();
    std::set<std::string> running = quitOwnersAndWait({"Google Chrome", "VS Code", "Ollama", "Gradle"}, table, clock);
    EXPECT_EQ(running, (std::set<std::string>{"VS Code", "Ollama"}));
    std::sort(table.terminated.begin(), table.terminated.end());
    EXPECT_EQ(table.terminated, (std::vector<std::int32_t>{10, 11, 20})) << "never another user's process";
    const double waited = clock.monotonicSeconds() - start;
    EXPECT_GE(waited, 15.0);
    EXPECT_LT(waited, 16.0) << "ten seconds, then five more, in 300 ms steps";
}

TEST(QuitOwners, ReturnsAtOnceWhenEverythingQuitAndEveryOwnerWhenTheTableIsUnreadable) {
    FakeProcessTable table;
    table.procs = std::vector<Proc>{{.pid = 10, .ppid = 1, .path = "/opt/google/chrome/chrome", .args = "", .uid = ::getuid()},
                                    {.pid = 40, .ppid = 1, .path = "/usr/bin/bash", .args = "", .uid = ::getuid()}};
    table.endOnTerminate = {10};
    ManualClock clock;
    EXPECT_TRUE(quitOwnersAndWait({"Google Chrome"}, table, clock).empty());
    EXPECT_LT(clock.monotonicSeconds(), 1.0);
    table.procs = std::nullopt;
    EXPECT_EQ(quitOwnersAndWait({"Google Chrome"}, table, clock), (std::set<std::string>{"Google Chrome"}));
}

}  // namespace
}  // namespace kelvor
