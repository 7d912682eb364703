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

// Runs `kelvor --mode <mode>` with `extra` arguments in English, as the mode tests read its text.
RunOutput runKelvorMode(const std::string& mode, const std::vector<std::string>& extra = {});

}  // namespace kelvor::testing
