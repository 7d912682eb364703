#pragma once
// What a clean shows but never offers: stores that are the person's to judge (tier C) and protected
// ones, the latter with the way they may be cleared (often only by their own tool's command).
#include <string>
#include <vector>

#include "quillet/rules/hit.hpp"

namespace kelvor {

// A heading and one line per tier C or protected hit (label, size, path), each protected line
// followed by its recovery sentence; "" when there is none.
std::string renderLeftAlone(const std::vector<Hit>& hits);

}  // namespace kelvor
