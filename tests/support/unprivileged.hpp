#pragma once
// Running a piece of a test as an ordinary user, so permission refusals happen even when the
// suite runs as root (as CI does): root reads every folder whatever its mode.
#include <functional>
#include <optional>
#include <string>

namespace kelvor::testing {

// The user and group a root test drops to ("nobody").
inline constexpr unsigned UNPRIVILEGED_ID = 65534;

// Runs `body` in a forked child that, when the test runs as root, first drops to
// UNPRIVILEGED_ID; returns what `body` returned, or none when the child could not drop its
// rights or died. The tree `body` reads must be traversable by that user.
std::optional<std::string> runUnprivileged(const std::function<std::string()>& body);

}  // namespace kelvor::testing
