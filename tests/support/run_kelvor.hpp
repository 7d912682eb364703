#pragma once
// Runs the built kelvor executable as a person would, with the test's environment.
#include <string>
#include <vector>

namespace kelvor::testing {

struct RunOutput {
    int status = -1;
    std::string out;
    std::string err;
};

// Runs kelvor with `args`; `environment` entries ("NAME=value", or "NAME=" to unset) apply to the
// child only.
RunOutput runKelvorBinary(const std::vector<std::string>& args, const std::vector<std::string>& environment = {});

}  // namespace kelvor::testing
