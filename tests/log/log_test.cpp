#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <regex>
#include <sstream>

#include "quillet/log/log.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using testing::readFile;
using testing::TempHome;
using testing::writeFile;

TEST(Log, LineHasStampCategoryAndMessage) {
    std::string line = formatLogLine("scan", "claimed once: 2");
    std::regex shape(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}(Z|[+-]\d\d:\d\d)  \[scan\] claimed once: 2\n)");
    EXPECT_TRUE(std::regex_match(line, shape)) << line;
}

TEST(Log, AMessageWithControlCharactersIsOneEscapedLine) {
    std::string line = formatLogLine("remove-root", "deleted for good: /t/x\n2026-01-01T00:00:00Z  [fake] line\r\x1b[2J");
    EXPECT_EQ(std::count(line.begin(), line.end(), '\n'), 1) << line;
    EXPECT_EQ(line.find('\r'), std::string::npos);
    EXPECT_EQ(line.find('\x1b'), std::string::npos);
    EXPECT_NE(line.find("/t/x\\n2026-01-01T00:00:00Z  [fake] line\\r\\x1b[2J\n"), std::string::npos) << line;
}

TEST(Log, NeverWritesThroughALinkOrIntoAnotherPersonsFile) {
    TempHome home;
    std::string folder = home / "data";
    fs::create_directories(folder);
    fs::create_symlink(home / "created-by-the-link", folder + "/kelvor.log");
    appendLogLine(folder, "line\n");
    EXPECT_FALSE(fs::exists(home / "created-by-the-link")) << "a dangling link must not create its target";
    writeFile(home / "existing", "untouched");
    fs::remove(folder + "/kelvor.log");
    fs::create_symlink(home / "existing", folder + "/kelvor.log");
    appendLogLine(folder, "line\n");
    EXPECT_EQ(readFile(home / "existing"), "untouched");
    EXPECT_TRUE(fs::is_symlink(folder + "/kelvor.log"));
    fs::remove(folder + "/kelvor.log");
    fs::create_directory(folder + "/kelvor.log");
    appendLogLine(folder, "line\n");
    EXPECT_TRUE(fs::is_directory(folder + "/kelvor.log")) << "anything but a regular file is refused";
    if (::geteuid() == 0) {
        fs::remove(folder + "/kelvor.log");
        writeFile(folder + "/kelvor.log", "theirs\n");
        ASSERT_EQ(::chown((folder + "/kelvor.log").c_str(), 65534, 65534), 0);
        appendLogLine(folder, "line\n");
        EXPECT_EQ(readFile(folder + "/kelvor.log"), "theirs\n") << "root does not append to someone else's file";
    }
}

TEST(Log, RotatesOnlyPastOneMebibyte) {
    TempHome home;
    std::string folder = home / "data";
    writeFile(folder + "/kelvor.log", std::string(1048576, 'a'));
    appendLogLine(folder, "next\n");
    EXPECT_FALSE(fs::exists(folder + "/kelvor.log.1")) << "exactly 1 MiB is not rotated";
    EXPECT_EQ(fs::file_size(folder + "/kelvor.log"), 1048581u);
    writeFile(folder + "/kelvor.log", std::string(1048577, 'b'));
    writeFile(folder + "/kelvor.log.1", "older generation");
    appendLogLine(folder, "fresh\n");
    EXPECT_EQ(readFile(folder + "/kelvor.log"), "fresh\n");
    EXPECT_EQ(fs::file_size(folder + "/kelvor.log.1"), 1048577u) << "an existing .1 is replaced";
}

TEST(Log, WritesAreAppliedInOrderInADataFolderMadeForThem) {
    TempHome home;
    for (int i = 0; i < 200; ++i) KelvorLog::write("order", std::to_string(i));
    KelvorLog::drain();
    std::istringstream lines(readFile(home / ".kelvor/kelvor.log"));
    std::string line;
    int expected = 0;
    while (std::getline(lines, line)) EXPECT_TRUE(line.ends_with("  [order] " + std::to_string(expected++))) << line;
    EXPECT_EQ(expected, 200);
}

TEST(Log, TwoProcessesWritingAtOnceLeaveEveryLineWhole) {
    TempHome home;
    std::string folder = home / "shared";
    // A nearly full log, so that the run rotates it once while both processes append.
    std::string prefill;
    while (prefill.size() < 1000000) prefill += "prefill line\n";
    writeFile(folder + "/kelvor.log", prefill);
    const std::string padding(60, 'x');
    auto writer = [&](char tag) {
        for (int i = 0; i < 5000; ++i)
            appendLogLine(folder, formatLogLine("proc", std::string(1, tag).append(std::to_string(i)).append(padding)));
    };
    pid_t child = fork();
    if (child == 0) {
        writer('B');
        _exit(0);
    }
    writer('A');
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    ASSERT_TRUE(fs::exists(folder + "/kelvor.log.1")) << "the run crossed the limit";
    std::regex whole(R"(\S+  \[proc\] [AB]\d+x{60})");
    size_t written = 0;
    for (const char* generation : {"/kelvor.log.1", "/kelvor.log"}) {
        std::istringstream lines(readFile(folder + generation));
        std::string line;
        while (std::getline(lines, line)) {
            if (line == "prefill line") continue;
            ++written;
            EXPECT_TRUE(std::regex_match(line, whole)) << "torn line: " << line.substr(0, 80);
        }
    }
    EXPECT_EQ(written, 10000u);
}

TEST(Log, TailReturnsTheLastLinesWithinTheByteLimit) {
    TempHome home;
    writeFile(home / ".kelvor/kelvor.log", "one\ntwo\nthree\nfour\n");
    EXPECT_EQ(KelvorLog::tail(2), "three\nfour\n");
    EXPECT_EQ(KelvorLog::tail(10), "one\ntwo\nthree\nfour\n");
    EXPECT_EQ(KelvorLog::tail(10, 8), "ee\nfour\n");
    writeFile(home / ".kelvor/kelvor.log", "가나다\n");
    EXPECT_EQ(KelvorLog::tail(1, 5), "다\n") << "a cut character is dropped, not garbled";
    fs::remove(home / ".kelvor/kelvor.log");
    writeFile(home / "elsewhere", "secret\n");
    fs::create_symlink(home / "elsewhere", home / ".kelvor/kelvor.log");
    EXPECT_EQ(KelvorLog::tail(1), "") << "the log is not read through a link";
}

TEST(Log, HeaderNamesVersionSystemAndCores) {
    std::regex shape(R"(Kelvor \d+\.\d+\.\d+ · Linux \S+ · \d+ cores)");
    EXPECT_TRUE(std::regex_match(KelvorLog::header(), shape)) << KelvorLog::header();
}

}  // namespace
}  // namespace kelvor
