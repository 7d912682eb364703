#pragma once
// Names as stored are bytes; names as shown are text. This turns the first into the second.
#include <string>
#include <string_view>

namespace kelvor {

// `bytes` as UTF-8 into `out`, each byte that does not start a well-formed sequence (overlongs,
// surrogates and values past U+10FFFF included) replaced by U+FFFD; reuses `out`'s storage.
void assignValidUtf8(std::string_view bytes, std::string& out);

// `bytes` as valid UTF-8, as assignValidUtf8 makes it: for showing a name, never for opening it.
std::string validUtf8(std::string_view bytes);

}  // namespace kelvor
