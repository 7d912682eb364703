#pragma once
// Names from the disk made safe to print: a file name may hold any byte but "/" and NUL.
#include <string>
#include <string_view>

namespace kelvor {

// `name` with every control character (C0, DEL, and the C1 range as UTF-8) written as "\xNN"
// escapes of its bytes, so a name can never move the cursor, clear the screen or forge a line.
std::string printable(std::string_view name);

}  // namespace kelvor
