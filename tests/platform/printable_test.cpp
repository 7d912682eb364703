#include <gtest/gtest.h>

#include "quillet/platform/printable.hpp"

namespace kelvor {
namespace {

TEST(EscapeControls, WritesOutEveryControlCharacter) {
    EXPECT_EQ(escapeControls("a\nb\rc\td"), "a\\nb\\rc\\td");
    EXPECT_EQ(escapeControls("\x1b]0;owned\x07title"), "\\x1b]0;owned\\x07title") << "a retitling sequence";
    EXPECT_EQ(escapeControls("\x1b[31mred"), "\\x1b[31mred");
    EXPECT_EQ(escapeControls(std::string("nul\0here", 8)), "nul\\x00here");
    EXPECT_EQ(escapeControls("del\x7f"), "del\\x7f");
    EXPECT_EQ(escapeControls("csi\xc2\x9b" "31m"), "csi\\u009b31m") << "the one-character CSI of UTF-8 terminals";
}

TEST(EscapeControls, LeavesPrintableTextAndOtherBytesAlone) {
    EXPECT_EQ(escapeControls("Documents/사진 2024 — été.jpg"), "Documents/사진 2024 — été.jpg");
    EXPECT_EQ(escapeControls("latin1 \xe9t\xe9"), "latin1 \xe9t\xe9") << "invalid UTF-8 is not this function's concern";
    EXPECT_EQ(escapeControls("\xc2\xa0nbsp"), "\xc2\xa0nbsp") << "U+00A0 is printable";
    EXPECT_EQ(escapeControls("trailing \xc2"), "trailing \xc2");
    EXPECT_EQ(escapeControls(""), "");
}

}  // namespace
}  // namespace kelvor
