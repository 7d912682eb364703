#include "quillet/i18n/width.hpp"

namespace kelvor {

namespace {

bool isWide(char32_t c) {
    return (c >= 0x1100 && c <= 0x115F) || (c >= 0x2E80 && c <= 0x303E) || (c >= 0x3041 && c <= 0x33FF) ||
           (c >= 0x3400 && c <= 0x4DBF) || (c >= 0x4E00 && c <= 0x9FFF) || (c >= 0xA000 && c <= 0xA4CF) ||
           (c >= 0xAC00 && c <= 0xD7A3) || (c >= 0xF900 && c <= 0xFAFF) || (c >= 0xFE30 && c <= 0xFE4F) ||
           (c >= 0xFF00 && c <= 0xFF60) || (c >= 0xFFE0 && c <= 0xFFE6) || (c >= 0x1F300 && c <= 0x1F64F) ||
           (c >= 0x1F900 && c <= 0x1F9FF) || (c >= 0x20000 && c <= 0x3FFFD);
}

bool isCombining(char32_t c) {
    return (c >= 0x0300 && c <= 0x036F) || (c >= 0x1AB0 && c <= 0x1AFF) || (c >= 0x20D0 && c <= 0x20FF) ||
           (c >= 0xFE20 && c <= 0xFE2F) || c == 0x200B || c == 0x200D || (c >= 0xFE00 && c <= 0xFE0F);
}

}  // namespace

size_t displayWidth(std::string_view text) {
    size_t width = 0;
    size_t i = 0;
    while (i < text.size()) {
        auto lead = static_cast<unsigned char>(text[i]);
        size_t length = lead < 0x80 ? 1 : (lead & 0xE0) == 0xC0 ? 2 : (lead & 0xF0) == 0xE0 ? 3 : (lead & 0xF8) == 0xF0 ? 4 : 0;
        if (length == 0 || i + length > text.size()) {
            ++width;
            ++i;
            continue;
        }
        char32_t c = length == 1 ? lead : lead & (0xFF >> (length + 1));
        bool valid = true;
        for (size_t k = 1; k < length; ++k) {
            auto next = static_cast<unsigned char>(text[i + k]);
            if ((next & 0xC0) != 0x80) valid = false;
            c = (c << 6) | (next & 0x3F);
        }
        if (!valid) {
            ++width;
            ++i;
            continue;
        }
        width += isCombining(c) ? 0 : isWide(c) ? 2 : 1;
        i += length;
    }
    return width;
}

std::string padRight(std::string_view text, size_t columns) {
    std::string out(text);
    size_t width = displayWidth(text);
    if (width < columns) out.append(columns - width, ' ');
    return out;
}

}  // namespace kelvor
