#pragma once
// Runs a program with bytes on its standard input and collects both outputs, for tests that
// talk to a spawned process (a protocol server, a client script).
#include <optional>
#include <string>
#include <vector>

#include "tests/support/run_kelvor.hpp"

namespace kelvor::testing {

// Runs argv[0] (a path) with `argv`, writes `input` to its standard input and closes it, and
// waits for it to exit. `environment` replaces the whole environment when given ("NAME=value"
// entries); otherwise the test's own is inherited.
RunOutput runProgram(const std::vector<std::string>& argv, const std::string& input,
                     const std::optional<std::vector<std::string>>& environment = std::nullopt);

}  // namespace kelvor::testing
