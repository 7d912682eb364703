#include "quillet/records/atomic_write.hpp"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using testing::readFile;
using testing::TempHome;

std::vector<std::string> namesIn(const std::string& folder) {
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

TEST(AtomicWrite, ReplacesTheFileWholeLeavingNoTemporary) {
    TempHome home;
    std::string path = home / "list.json";
    for (std::string bytes : {"first version, rather long\n", "second\n", ""}) {
        fs::remove(home / "old-view");
        if (fs::exists(path)) fs::create_hard_link(path, home / "old-view");
        Result<void> written = writeFileAtomically(path, bytes);
        ASSERT_TRUE(written.ok()) << written.error().describe();
        EXPECT_EQ(readFile(path), bytes) << bytes;
        EXPECT_EQ(fs::hard_link_count(path), 1u) << "a new file, not the old one rewritten: " << bytes;
    }
    EXPECT_EQ(namesIn(home.path()), (std::vector<std::string>{"list.json", "old-view"}));
    EXPECT_EQ(readFile(home / "old-view"), "second\n");
}

TEST(AtomicWrite, FailureLeavesTheTargetAndNoTemporary) {
    TempHome home;
    Result<void> missingFolder = writeFileAtomically(home / "absent/list.json", "x");
    ASSERT_FALSE(missingFolder.ok());
    EXPECT_EQ(missingFolder.error().code, ENOENT);
    // A folder in the way: the rename fails after the temporary was written.
    fs::create_directories(home / "taken/inside");
    EXPECT_FALSE(writeFileAtomically(home / "taken", "x").ok());
    EXPECT_EQ(namesIn(home.path()), std::vector<std::string>{"taken"});
}

}  // namespace
}  // namespace kelvor
