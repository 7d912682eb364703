#include "quillet/scan/harness.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

#include "quillet/main/modes.hpp"
#include "tests/support/run_kelvor.hpp"
#include "tests/support/disk_usage.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using testing::runKelvorBinary;
using testing::allocatedBytes;
using testing::TempHome;
using testing::writeFile;

const std::vector<std::string> ENGLISH = {"LANG=C", "LANGUAGE=", "LC_ALL="};

// The names of the scan-speed walkers in the mode table.
std::vector<std::string> walkerNames() {
    std::vector<std::string> names;
    for (const ModeEntry& entry : modeTable())
        if (entry.walker) names.emplace_back(entry.name);
    return names;
}

// The "total scanned" line of a report.
std::string totalLine(const std::string& out) {
    std::smatch found;
    if (!std::regex_search(out, found, std::regex("  total scanned      : [^\n]*"))) return "";
    return found.str();
}

TEST(ScanSpeed, EveryWalkerMeasuresTheSameTree) {
    TempHome home;
    std::string root = home / "tree";
    for (int d = 0; d < 12; ++d)
        for (int f = 0; f < 25; ++f)
            writeFile(root + "/bucket" + std::to_string(d % 4) + "/d" + std::to_string(d) + "/f" + std::to_string(f),
                      std::string(static_cast<std::size_t>(f * 500), 'x'));
    writeFile(root + "/at-root.bin", std::string(9000, 'r'));
    fs::create_hard_link(root + "/bucket0/d0/f24", root + "/bucket1/same-as-f24");
    fs::create_directory_symlink(root + "/bucket2", root + "/bucket3/link-to-bucket2");

    std::string expected;
    ASSERT_FALSE(walkerNames().empty());
    for (const std::string& mode : walkerNames()) {
        auto run = runKelvorBinary({"--mode", mode, "--root", root, "--threads", "3"}, ENGLISH);
        EXPECT_EQ(run.status, 0) << mode;
        EXPECT_TRUE(run.out.starts_with("root    : " + root + "\nthreads : 3\nmodes   : " + mode +
                                        "\nbuckets : 4 top-level directories\n\n=== " + mode + " ===\n"))
            << run.out;
        std::string total = totalLine(run.out);
        EXPECT_NE(total.find("(302 files, 16 dirs)"), std::string::npos) << mode << ": " << total;
        if (expected.empty()) expected = total;
        EXPECT_EQ(total, expected) << mode;
        EXPECT_NE(run.out.find("  hardlink dupes     : 1 skipped\n"), std::string::npos) << mode << run.out;
        EXPECT_NE(run.out.find("(files at root)"), std::string::npos) << mode << run.out;
    }
    // The log keeps the exact byte count that the report rounds.
    std::uint64_t bytes = allocatedBytes(root + "/at-root.bin");
    for (int d = 0; d < 12; ++d)
        for (int f = 0; f < 25; ++f)
            bytes += allocatedBytes(root + "/bucket" + std::to_string(d % 4) + "/d" + std::to_string(d) + "/f" + std::to_string(f));
    std::string log = testing::readFile(home / ".kelvor/kelvor.log");
    for (const std::string& mode : walkerNames())
        EXPECT_NE(log.find("scan-speed " + mode + " of " + root + ": " + std::to_string(bytes) + " bytes, 302 files"),
                  std::string::npos)
            << log;
}

TEST(ScanSpeed, AnEmptyTreeReportsZerosAndAQuickScanStillHasItsFinalSnapshot) {
    TempHome home;
    fs::create_directories(home / "empty");
    auto run = runKelvorBinary({"--mode", "par", "--root", home / "empty"}, ENGLISH);
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.out.find("buckets : 0 top-level directories\n"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("  total scanned      : 0.0 B  (0 files, 0 dirs)\n"), std::string::npos) << run.out;
    for (const char* line : {"  t@50% of bytes     : ", "  t@80% of bytes     : ", "  t@95% of bytes     : "})
        EXPECT_NE(run.out.find(line), std::string::npos) << line << run.out;
    EXPECT_NE(run.out.find("  throughput         : 0 files/s\n"), std::string::npos) << run.out;
    EXPECT_EQ(run.out.find("nan"), std::string::npos) << run.out;
    EXPECT_EQ(run.out.find("inf"), std::string::npos) << run.out;
}

TEST(ScanSpeed, NoArgumentsRunsTheThreeDefaultWalkersOverTheHomeFolder) {
    TempHome home;
    writeFile(home / "Documents/a.txt", std::string(3000, 'a'));
    auto run = runKelvorBinary({}, ENGLISH);
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(run.out.starts_with("root    : " + home.path() + "\n")) << run.out;
    EXPECT_NE(run.out.find("modes   : fm, bulk, par\n"), std::string::npos) << run.out;
    for (const char* title : {"=== fm ===", "=== bulk ===", "=== par ==="})
        EXPECT_NE(run.out.find(title), std::string::npos) << title;
    EXPECT_EQ(run.out.find("=== bfs ==="), std::string::npos);
}

}  // namespace
}  // namespace kelvor
