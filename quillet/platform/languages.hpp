#pragma once
// The languages the person prefers, most preferred first, as the OS reports them.
#include <string>
#include <vector>

namespace kelvor {

// Language codes such as "de-DE" or "zh_TW"; never "C" or "POSIX"; encodings dropped.
std::vector<std::string> preferredLanguages();

}  // namespace kelvor
