#include <gtest/gtest.h>

#include "quillet/log/escape.hpp"

namespace kelvor {
namespace {

TEST(Escape, ControlBytesCannotReachTheTerminal) {
    struct Case {
        std::string raw;
        std::string shown;
    };
    const Case cases[] = {
        {"/home/ada/plain name.txt", "/home/ada/plain name.txt"},
        {"two\nlines", "two\\nlines"},
        {"tab\there", "tab\\there"},
        {"\x1b[2Jclear", "\\x1b[2Jclear"},
        {"del\x7f", "del\\x7f"},
        {"back\\slash", "back\\\\slash"},
        {"한글 \xff", "한글 \xff"},
    };
    for (const Case& c : cases) EXPECT_EQ(escapedForDisplay(c.raw), c.shown) << c.raw;
}

}  // namespace
}  // namespace kelvor
