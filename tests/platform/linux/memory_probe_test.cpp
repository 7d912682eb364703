#include <gtest/gtest.h>

#include <unistd.h>

#include "quillet/platform/memory_probe.hpp"
#include "tests/support/unprivileged.hpp"

namespace kelvor {
namespace {

TEST(MemoryProbeOnLinux, AnotherUsersProcessShowsItsSizeButNotItsFiles) {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to have a process another user may not look into";
    const pid_t rootsProcess = ::getpid();
    std::optional<std::string> seen = testing::runUnprivileged([&] {
        Result<ProcessMemory> memory = MemoryProbe::real().processMemory(rootsProcess);
        if (!memory) return "error: " + memory.error().describe();
        return std::string(memory->mappedFilesHidden ? "hidden" : "shown") + " " +
               (memory->residentBytes > 0 ? "sized" : "unsized") + " " + std::to_string(memory->mappedFiles.size());
    });
    ASSERT_TRUE(seen);
    EXPECT_EQ(*seen, "hidden sized 0");
}

}  // namespace
}  // namespace kelvor
