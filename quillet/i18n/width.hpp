#pragma once
// Terminal column widths of text, so that report columns line up in every language.
#include <cstddef>
#include <string>
#include <string_view>

namespace kelvor {

// Columns `text` takes in a terminal: East Asian wide characters (Hangul, CJK, kana, full-width
// forms) take two, combining marks none, everything else one. Invalid UTF-8 bytes take one each.
size_t displayWidth(std::string_view text);

// `text` followed by blanks up to `columns` columns; unchanged when already as wide or wider.
std::string padRight(std::string_view text, size_t columns);

}  // namespace kelvor
