#include "quillet/records/json_lines.hpp"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <set>

#include "quillet/log/log.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

using testing::readFile;
using testing::TempHome;
using testing::writeFile;

TEST(JsonLines, TwoProcessesAppendingAtOnceLoseNoLine) {
    TempHome home;
    const std::string ledger = home / "ledger.jsonl";
    constexpr int PER_PROCESS = 300;
    const std::string padding(3000, 'p');  // a write split between processes would show as a broken line
    KelvorLog::drain();
    int start[2];
    ASSERT_EQ(::pipe(start), 0);
    std::vector<pid_t> children;
    for (std::string side : {"first", "second"}) {
        pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            ::close(start[1]);
            char go;
            if (::read(start[0], &go, 1) < 0) ::_exit(3);
            for (int i = 0; i < PER_PROCESS; ++i)
                if (!appendJsonLine(ledger, {{"side", side}, {"i", i}, {"padding", padding}}).ok()) ::_exit(1);
            ::_exit(0);
        }
        children.push_back(child);
    }
    ::close(start[0]);
    ::close(start[1]);  // releases both children at once
    for (pid_t child : children) {
        int status = 0;
        ::waitpid(child, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
    }
    Result<JsonLines> read = readJsonLines(ledger);
    ASSERT_TRUE(read.ok()) << read.error().describe();
    EXPECT_EQ(read->unreadable, 0u);
    EXPECT_FALSE(read->tornEnd);
    std::set<std::pair<std::string, int>> seen;
    for (const JsonLine& line : read->lines)
        if (line.value) seen.insert({(*line.value)["side"].get<std::string>(), (*line.value)["i"].get<int>()});
    EXPECT_EQ(seen.size(), 2u * PER_PROCESS);
    EXPECT_EQ(read->lines.size(), 2u * PER_PROCESS) << "no line twice";
}

TEST(JsonLines, ATornLastLineIsKeptCountedAndNotGluedToTheNextAppend) {
    TempHome home;
    const std::string ledger = home / "ledger.jsonl";
    const std::string torn = R"({"id":2,"path":"/ho)";
    writeFile(ledger, "{\"id\":1}\n" + torn);
    Result<JsonLines> before = readJsonLines(ledger);
    ASSERT_TRUE(before.ok());
    EXPECT_TRUE(before->tornEnd);
    EXPECT_EQ(before->unreadable, 1u);
    ASSERT_TRUE(appendJsonLine(ledger, {{"id", 3}}).ok());
    Result<JsonLines> after = readJsonLines(ledger);
    ASSERT_TRUE(after.ok());
    EXPECT_FALSE(after->tornEnd);
    EXPECT_EQ(after->unreadable, 1u);
    ASSERT_EQ(after->lines.size(), 3u);
    EXPECT_EQ(after->lines[1].text, torn) << "kept verbatim";
    ASSERT_TRUE(after->lines[2].value.has_value()) << after->lines[2].text;
    EXPECT_EQ((*after->lines[2].value)["id"], 3);
    EXPECT_EQ(joinJsonLines(*after), readFile(ledger)) << "a rewrite carries the unreadable line along";
}

TEST(JsonLines, BlankLinesAreSkippedButLineNumbersStayTrue) {
    JsonLines parsed = parseJsonLines("{\"a\":1}\n\n  \nnot json\n{\"b\":2}\n");
    ASSERT_EQ(parsed.lines.size(), 3u);
    EXPECT_EQ(parsed.lines[0].number, 1u);
    EXPECT_EQ(parsed.lines[1].number, 4u);
    EXPECT_EQ(parsed.lines[2].number, 5u);
    EXPECT_EQ(parsed.unreadable, 1u);
}

TEST(JsonLines, AMissingFileIsEmptyAFolderIsAnErrorAndAnUnencodableValueWritesNothing) {
    TempHome home;
    Result<JsonLines> missing = readJsonLines(home / "absent.jsonl");
    ASSERT_TRUE(missing.ok());
    EXPECT_TRUE(missing->lines.empty());
    std::filesystem::create_directories(home / "folder.jsonl");
    EXPECT_FALSE(readJsonLines(home / "folder.jsonl").ok());
    writeFile(home / "ledger.jsonl", "{\"id\":1}\n");
    EXPECT_FALSE(appendJsonLine(home / "ledger.jsonl", {{"path", std::string("/home/\xff\xfe")}}).ok());
    EXPECT_EQ(readFile(home / "ledger.jsonl"), "{\"id\":1}\n");
}

}  // namespace
}  // namespace kelvor
