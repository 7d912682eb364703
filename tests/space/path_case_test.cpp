#include "quillet/space/path_case.hpp"

#include <gtest/gtest.h>

namespace kelvor {
namespace {

TEST(PathCase, FoldsCapitalsOfTheCommonScriptsAndKeepsEverythingElse) {
    struct Case {
        std::string input;
        std::string expected;
    };
    const Case cases[] = {
        {"/Users/X/Models", "/users/x/models"},
        {"/ALREADY/small-1_2.GGUF", "/already/small-1_2.gguf"},
        {"/Ärger/ÉTÉ/Ø/Þ", "/ärger/été/ø/þ"},
        {"×÷", "×÷"},                      // signs inside the Latin-1 capitals are not letters
        {"ĀĂĄĆŁŃŒŠŽŸ", "āăąćłńœšžÿ"},      // Latin Extended-A pairs, both parities
        {"ΑΒΓ ΣΩ", "αβγ σω"},
        {"ЁЖИК Привет", "ёжик привет"},
        {"日本語/フォルダ", "日本語/フォルダ"},  // no case: unchanged
        {std::string("/bad\xff\xc3", 6), std::string("/bad\xff\xc3", 6)},  // not UTF-8: bytes kept
        {std::string("\xc3\x28", 2), std::string("\xc3\x28", 2)},
        {"", ""},
    };
    for (const Case& c : cases) EXPECT_EQ(foldPathCase(c.input), c.expected) << c.input;
}

}  // namespace
}  // namespace kelvor
