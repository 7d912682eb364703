#include "quillet/i18n/printable.hpp"

#include <gtest/gtest.h>

namespace kelvor {
namespace {

TEST(Printable, EscapesControlCharactersAndKeepsEverythingElse) {
    struct Case {
        std::string name;
        std::string shown;
    };
    const Case cases[] = {
        {"plain name.txt", "plain name.txt"},
        {"tab\there", "tab\\x09here"},
        {"line\nforged", "line\\x0aforged"},
        {"\x1b[31mred", "\\x1b[31mred"},
        {"del\x7f", "del\\x7f"},
        {"c1 \xc2\x9b" "2J", "c1 \\xc2\\x9b2J"},
        {"모델 café ✓", "모델 café ✓"},
        {"back\\slash", "back\\slash"},
        {std::string("nul\0in", 6), "nul\\x00in"},
    };
    for (const Case& each : cases) EXPECT_EQ(printable(each.name), each.shown) << each.name;
}

}  // namespace
}  // namespace kelvor
