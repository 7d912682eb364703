#include "quillet/platform/valid_utf8.hpp"

namespace kelvor {

namespace {

constexpr std::string_view REPLACEMENT = "\xEF\xBF\xBD";  // U+FFFD

// Length of the well-formed UTF-8 sequence at the start of `text` (overlongs, surrogates and values
// past U+10FFFF are not well formed), or 0.
std::size_t wellFormedLength(std::string_view text) {
    auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    unsigned char lead = byte(0);
    if (lead < 0x80) return 1;
    std::size_t length = 0;
    unsigned char low = 0x80, high = 0xBF;  // the allowed range of the second byte
    if (lead >= 0xC2 && lead <= 0xDF) length = 2;
    else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        if (lead == 0xE0) low = 0xA0;
        if (lead == 0xED) high = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        if (lead == 0xF0) low = 0x90;
        if (lead == 0xF4) high = 0x8F;
    } else {
        return 0;
    }
    if (text.size() < length || byte(1) < low || byte(1) > high) return 0;
    for (std::size_t i = 2; i < length; ++i)
        if ((byte(i) & 0xC0) != 0x80) return 0;
    return length;
}

}  // namespace

void assignValidUtf8(std::string_view bytes, std::string& out) {
    out.clear();
    while (!bytes.empty()) {
        std::size_t length = wellFormedLength(bytes);
        if (length == 0) {
            out += REPLACEMENT;
            bytes.remove_prefix(1);
        } else {
            out.append(bytes.substr(0, length));
            bytes.remove_prefix(length);
        }
    }
}

std::string validUtf8(std::string_view bytes) {
    std::string out;
    assignValidUtf8(bytes, out);
    return out;
}

}  // namespace kelvor
