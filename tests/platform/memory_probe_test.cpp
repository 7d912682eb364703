#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>

#include "quillet/platform/memory_probe.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

TEST(MemoryProbe, TheMachineHasMemoryAndNoMoreAvailableThanItHas) {
    MemorySnapshot snapshot = MemoryProbe::real().snapshot();
    ASSERT_TRUE(snapshot.totalBytes);
    EXPECT_GT(*snapshot.totalBytes, 0u);
    ASSERT_TRUE(snapshot.availableBytes);
    EXPECT_LE(*snapshot.availableBytes, *snapshot.totalBytes);
    if (snapshot.swapUsedBytes && snapshot.swapTotalBytes) {
        EXPECT_LE(*snapshot.swapUsedBytes, *snapshot.swapTotalBytes);
    }
    if (snapshot.someAverage10) {
        EXPECT_NE(snapshot.verdict, PressureVerdict::unknown) << "figures were read, so a verdict follows";
    }
}

TEST(MemoryProbe, AProcessShowsWhatItMapsOnceAndItsResidentSize) {
    testing::TempHome home;
    const std::string file = home / "weights.safetensors";
    testing::writeFile(file, std::string(3 * 4096, 'w'));
    int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(fd, 0);
    // Two separate maps of one file: it is still one mapped file.
    void* first = ::mmap(nullptr, 4096, PROT_READ, MAP_SHARED, fd, 0);
    void* second = ::mmap(nullptr, 4096, PROT_READ, MAP_SHARED, fd, 8192);
    ::close(fd);
    ASSERT_NE(first, MAP_FAILED);
    ASSERT_NE(second, MAP_FAILED);
    Result<ProcessMemory> memory = MemoryProbe::real().processMemory(::getpid());
    ::munmap(first, 4096);
    ::munmap(second, 4096);
    ASSERT_TRUE(memory) << memory.error().describe();
    EXPECT_GT(memory->residentBytes, 0u);
    EXPECT_FALSE(memory->mappedFilesHidden);
    EXPECT_EQ(std::count_if(memory->mappedFiles.begin(), memory->mappedFiles.end(),
                            [&](const MappedFile& each) { return each.path == file && each.bytes == 3 * 4096; }),
              1);
}

TEST(MemoryProbe, AProcessThatIsGoneIsNotFound) {
    pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) ::_exit(0);
    int status = 0;
    ::waitpid(child, &status, 0);
    Result<ProcessMemory> memory = MemoryProbe::real().processMemory(child);
    ASSERT_FALSE(memory);
    EXPECT_EQ(memory.error().kind, ErrorKind::notFound);
}

}  // namespace
}  // namespace kelvor
