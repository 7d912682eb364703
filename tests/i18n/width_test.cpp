#include <gtest/gtest.h>

#include "quillet/i18n/width.hpp"

namespace kelvor {
namespace {

TEST(DisplayWidth, CountsColumnsNotBytes) {
    struct Case {
        std::string_view text;
        size_t columns;
    };
    const Case cases[] = {
        {"", 0},          {"abc", 3},          {"허브 캐시", 9},  {"日本語", 6},
        {"Café", 4},      {"e\u0301", 1},      {"→ Trash", 7},   {"\xff\xfe", 2},
        {"ｶ", 1},         {"Ｋ", 2},
    };
    for (const Case& c : cases) EXPECT_EQ(displayWidth(c.text), c.columns) << c.text;
}

TEST(DisplayWidth, PadsToColumnsAndNeverCuts) {
    EXPECT_EQ(padRight("모델", 6), "모델  ");
    EXPECT_EQ(padRight("abc", 2), "abc");
    EXPECT_EQ(padRight("ab", 4), "ab  ");
}

}  // namespace
}  // namespace kelvor
