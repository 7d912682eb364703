#include "quillet/space/path_case.hpp"

namespace kelvor {

namespace {

// The small letter of a capital in the scripts a home folder's names are most often written in.
// A full Unicode fold needs tables this program does not carry; a letter outside these ranges
// compares as written, so such names match only when their case matches too.
char32_t smallLetter(char32_t c) {
    if (c >= U'A' && c <= U'Z') return c + 0x20;
    if (c >= 0xC0 && c <= 0xDE && c != 0xD7) return c + 0x20;
    if ((c >= 0x100 && c <= 0x12F) || (c >= 0x132 && c <= 0x137) || (c >= 0x14A && c <= 0x177))
        return (c % 2 == 0) ? c + 1 : c;
    if ((c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E)) return (c % 2 == 1) ? c + 1 : c;
    if (c == 0x178) return 0xFF;
    if (c >= 0x391 && c <= 0x3A9 && c != 0x3A2) return c + 0x20;
    if (c >= 0x400 && c <= 0x40F) return c + 0x50;
    if (c >= 0x410 && c <= 0x42F) return c + 0x20;
    return c;
}

// Only two-byte sequences can hold a letter that folds (U+0080 to U+07FF); everything else is
// copied byte by byte.
void appendTwoByte(std::string& out, char32_t c) {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
}

}  // namespace

std::string foldPathCase(std::string_view path) {
    std::string out;
    out.reserve(path.size());
    for (size_t i = 0; i < path.size(); ++i) {
        unsigned char lead = static_cast<unsigned char>(path[i]);
        if (lead < 0x80) {
            out += static_cast<char>(smallLetter(lead));
            continue;
        }
        bool twoByte = (lead & 0xE0) == 0xC0 && lead >= 0xC2 && i + 1 < path.size() &&
                       (static_cast<unsigned char>(path[i + 1]) & 0xC0) == 0x80;
        if (!twoByte) {
            out += static_cast<char>(lead);
            continue;
        }
        char32_t c = (static_cast<char32_t>(lead & 0x1F) << 6) | (static_cast<unsigned char>(path[i + 1]) & 0x3F);
        appendTwoByte(out, smallLetter(c));
        ++i;
    }
    return out;
}

}  // namespace kelvor
