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
    EXPECT_TRUE(readAll("", 10).empty());
    auto lines = readAll("one\r\ntwo\n\nlast", 100);
    std::vector<std::string> texts;
    for (const InputLine& line : lines) texts.push_back(line.oversize ? "(oversize)" : line.text);
    EXPECT_EQ(texts, (std::vector<std::string>{"one", "two", "", "last"}));
}

TEST(LineReader, TheLimitItselfIsAllowedAndALongerLineIsSkippedWithoutSwallowingTheNext) {
    const std::size_t limit = 10000;
    auto lines = readAll(std::string(limit, 'a') + "\n" + std::string(limit + 1, 'b') + "\nnext\n" +
                             std::string(300000, 'x') + "\n{}\n" + std::string(300000, 'y'),
                         limit);
    ASSERT_EQ(lines.size(), 6u);
    const std::pair<bool, std::string> expected[] = {
        {false, std::string(limit, 'a')}, {true, ""}, {false, "next"}, {true, ""}, {false, "{}"}, {true, ""}};
    for (std::size_t i = 0; i < lines.size(); ++i) {
        EXPECT_EQ(lines[i].oversize, expected[i].first) << i;
        EXPECT_EQ(lines[i].text, expected[i].second) << i;
    }
}

}  // namespace
}  // namespace kelvor
