#pragma once
// Replacing a file whole: readers see the old bytes or the new ones, never a mixture.
#include <string>
#include <string_view>

#include "quillet/platform/result.hpp"

namespace kelvor {

// Writes `bytes` to a temporary file beside `path` (mode 0600), flushes it to disk and renames it
// over `path`. The folder must exist. On failure `path` is untouched and the temporary is removed.
Result<void> writeFileAtomically(const std::string& path, std::string_view bytes);

}  // namespace kelvor
