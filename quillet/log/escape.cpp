#include "quillet/log/escape.hpp"

namespace kelvor {

std::string escapedForDisplay(std::string_view text) {
    static constexpr char HEX[] = "0123456789abcdef";
    std::string out;
    out.reserve(text.size());
    for (char c : text) {
        auto byte = static_cast<unsigned char>(c);
        if (c == '\\') out += "\\\\";
        else if (c == '\n') out += "\\n";
        else if (c == '\t') out += "\\t";
        else if (byte < 0x20 || byte == 0x7F) out += std::string("\\x") + HEX[byte >> 4] + HEX[byte & 0xF];
        else out += c;
    }
    return out;
}

}  // namespace kelvor
