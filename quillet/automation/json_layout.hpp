#pragma once
// Rewriting a JSON document a person keeps by hand with the layout it already has: the same
// indentation, members in their order, the same final newline.
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace kelvor {

struct JsonLayout {
    char indentChar = ' ';
    int indentWidth = 2;     // -1: everything on one line
    bool finalNewline = true;
};

// The layout of `text`: the leading white space of its first indented line, or one line when the
// document has no line break inside it.
JsonLayout detectJsonLayout(std::string_view text);

// `document` written with `layout`.
std::string renderJson(const nlohmann::ordered_json& document, const JsonLayout& layout);

}  // namespace kelvor
