#include "quillet/i18n/printable.hpp"

#include <cstdio>

namespace kelvor {

namespace {

void escapeByte(std::string& out, unsigned char byte) {
    char code[5];
    std::snprintf(code, sizeof code, "\\x%02x", byte);
    out += code;
}

}  // namespace

std::string printable(std::string_view name) {
    std::string out;
    out.reserve(name.size());
    for (size_t i = 0; i < name.size(); ++i) {
        const auto byte = static_cast<unsigned char>(name[i]);
        const bool c1 = byte == 0xC2 && i + 1 < name.size() && static_cast<unsigned char>(name[i + 1]) >= 0x80 &&
                        static_cast<unsigned char>(name[i + 1]) <= 0x9F;
        if (byte < 0x20 || byte == 0x7F) {
            escapeByte(out, byte);
        } else if (c1) {
            escapeByte(out, byte);
            escapeByte(out, static_cast<unsigned char>(name[++i]));
        } else {
            out += name[i];
        }
    }
    return out;
}

}  // namespace kelvor
