#pragma once
// Names from disk reach terminals and the log: a control character in one must not move the
// cursor, recolour the screen, retitle the window or start a forged line.
#include <string>
#include <string_view>

namespace kelvor {

// `text` with every control character written out: "\n", "\r", "\t", other C0 bytes and DEL as
// "\xHH", the UTF-8 encoded C1 controls (U+0080–U+009F) as "\u00HH". Every other byte, valid
// UTF-8 or not, passes unchanged.
std::string escapeControls(std::string_view text);

}  // namespace kelvor
