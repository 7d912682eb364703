#pragma once
// Where applications keep their settings, and where this program's own executable is.
#include <string>

namespace kelvor {

// The folder under which desktop applications keep per-user settings: "$XDG_CONFIG_HOME" when it
// is an absolute path, else "~/.config" on Linux; "~/Library/Application Support" on macOS.
std::string applicationConfigDir();

// The absolute, resolved path of the running executable, so that what is written into another
// program's settings starts this very build. "" when the system cannot say.
std::string runningExecutablePath();

}  // namespace kelvor
