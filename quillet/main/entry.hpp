#pragma once
// The program's entry: arguments, start-up housekeeping, one mode, its exit status.
#include <string>
#include <vector>

namespace kelvor {

// `args` without the program path; `executablePath` tells the desktop app from the tool.
int runKelvor(const std::vector<std::string>& args, const std::string& executablePath);

}  // namespace kelvor
