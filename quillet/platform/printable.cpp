#include "quillet/platform/printable.hpp"

#include <cstdio>

namespace kelvor {

std::string escapeControls(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    char code[8];
    for (size_t i = 0; i < text.size(); ++i) {
        unsigned char byte = static_cast<unsigned char>(text[i]);
        if (byte == '\n') {
            out += "\\n";
        } else if (byte == '\r') {
            out += "\\r";
        } else if (byte == '\t') {
            out += "\\t";
        } else if (byte < 0x20 || byte == 0x7F) {
            std::snprintf(code, sizeof code, "\\x%02x", byte);
            out += code;
        } else if (byte == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) >= 0x80 &&
                   static_cast<unsigned char>(text[i + 1]) <= 0x9F) {
            std::snprintf(code, sizeof code, "\\u%04x", static_cast<unsigned char>(text[i + 1]));
            out += code;
            ++i;
        } else {
            out += static_cast<char>(byte);
        }
    }
    return out;
}

}  // namespace kelvor
