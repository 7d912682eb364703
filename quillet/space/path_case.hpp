#pragma once
// Case folding for comparing paths the way a case-insensitive file system does.
#include <string>
#include <string_view>

namespace kelvor {

// `path` with capital letters made small: ASCII, and in UTF-8 the capitals of Latin-1,
// Latin Extended-A, Greek and Cyrillic. Every other byte, including bytes that are not valid
// UTF-8, is kept as written, so the result is never longer than needed to compare.
std::string foldPathCase(std::string_view path);

}  // namespace kelvor
