#pragma once
// One user-visible text in its two built-in languages. Every other language finds it by
// `english` in its translation table.
#include <span>
#include <string_view>

namespace kelvor {

struct Sentence {
    std::string_view english;
    std::string_view korean;
};

// One row of a translation table: the exact English text and its translation.
struct Translation {
    std::string_view english;
    std::string_view text;
};

}  // namespace kelvor
