#include <gtest/gtest.h>

#include <unistd.h>

#include <thread>
#include <vector>

#include "quillet/automation/line_reader.hpp"

namespace kelvor {
namespace {

// Everything the reader yields for `input`, written from another thread through a pipe so that
// lines arrive split across reads as they do from a real client.
std::vector<InputLine> readAll(const std::string& input, std::size_t limit) {
    int fds[2];
    EXPECT_EQ(::pipe(fds), 0);
    std::thread writer([&] {
        for (std::size_t at = 0; at < input.size(); at += 4093) {
            std::size_t size = std::min<std::size_t>(4093, input.size() - at);
            EXPECT_EQ(::write(fds[1], input.data() + at, size), static_cast<ssize_t>(size));
        }
        ::close(fds[1]);
    });
    std::vector<InputLine> lines;
    LineReader reader(fds[0], limit);
    while (auto line = reader.next()) lines.push_back(*line);
    writer.join();
    ::close(fds[0]);
    return lines;
}

TEST(LineReader, SplitsOnNewlinesAndDropsACarriageReturnBeforeOne) {
    auto lines = readAll("one\r\ntwo\n\nlast", 100);
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0].text, "one");
    EXPECT_EQ(lines[1].text, "two");
    EXPECT_EQ(lines[2].text, "");
    EXPECT_EQ(lines[3].text, "last");
    for (const InputLine& line : lines) EXPECT_FALSE(line.oversize);
}

TEST(LineReader, TheLimitItselfIsAllowedAndOneByteMoreIsNot) {
    const std::size_t limit = 10000;
    auto lines = readAll(std::string(limit, 'a') + "\n" + std::string(limit + 1, 'b') + "\nnext\n", limit);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_FALSE(lines[0].oversize);
    EXPECT_EQ(lines[0].text.size(), limit);
    EXPECT_TRUE(lines[1].oversize);
    EXPECT_TRUE(lines[1].text.empty());
    EXPECT_FALSE(lines[2].oversize);
    EXPECT_EQ(lines[2].text, "next");
}

TEST(LineReader, AHugeLineIsSkippedWithoutSwallowingTheNext) {
    auto lines = readAll(std::string(300000, 'x') + "\n{\"id\":1}\n" + std::string(300000, 'y'), 1000);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_TRUE(lines[0].oversize);
    EXPECT_EQ(lines[1].text, "{\"id\":1}");
    EXPECT_TRUE(lines[2].oversize) << "an oversize last line without a newline is still reported";
}

TEST(LineReader, EmptyInputYieldsNothing) { EXPECT_TRUE(readAll("", 10).empty()); }

}  // namespace
}  // namespace kelvor
