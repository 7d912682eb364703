#pragma once
// The JSON-lines records this part of Kelvor keeps (the moved marks): appended under the file's
// lock, read back whole. One place, so that a shared records module can take it over.
#include <string>
#include <vector>

#include "quillet/platform/result.hpp"

namespace kelvor {

// Appends `line` and a newline to `path` under an exclusive flock on "<path>.lock", creating the
// file (0600) and its folder when missing.
Result<void> appendRecordLine(const std::string& path, const std::string& line);

// Every line of `path` without its newline; empty when the file is missing.
std::vector<std::string> readRecordLines(const std::string& path);

}  // namespace kelvor
