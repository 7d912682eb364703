#pragma once
// The catalog's rows, one function per group of owners; catalog.cpp joins them in catalog order.
#include <vector>

#include "quillet/rules/rule.hpp"

namespace kelvor::catalog_rows {

std::vector<Rule> aiTools();          // HuggingFace … Aider
std::vector<Rule> editors();          // VS Code and its relatives, Zed
std::vector<Rule> appleAndBuild();    // Xcode, iOS, Docker, Gradle, Rust, npm, pip, Android, Node, pyenv
std::vector<Rule> aiApps();           // Jan … DiffusionBee
std::vector<Rule> packageManagers();  // Go … Julia
std::vector<Rule> toolchains();       // ghcup … pipx
std::vector<Rule> apps();             // Google Chrome … Homebrew: apps and the tools catalogued last

}  // namespace kelvor::catalog_rows
