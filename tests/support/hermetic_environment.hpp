#pragma once
// What every test may assume, set once for the test binary before the first test runs: English,
// a temporary home, and no variable from the developer's shell that moves a store, picks a
// language or points at settings. Children spawned by tests inherit the same environment.
#include <string>
#include <vector>

namespace kelvor::testing {

// The variables the environment clears: every variable the location rule or a catalog rule
// reads, and every variable whose name starts with a cleared prefix (XDG_, LC_, GLIMSTER_).
std::vector<std::string> clearedVariableNames();

// The home folder every test starts in; removed when the test binary ends.
const std::string& sharedTemporaryHome();

}  // namespace kelvor::testing
