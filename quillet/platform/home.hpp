#pragma once
// Where the person's files and Kelvor's own records live.
#include <string>
#include <string_view>

namespace kelvor {

// The home folder: $HOME when set and non-empty, else the password database's entry.
std::string homeDir();

// The data folder "~/.kelvor", holding every record Kelvor keeps.
std::string dataDir();

// A path with a leading "~" (alone or followed by "/") expanded against homeDir(); others unchanged.
std::string expandTilde(std::string_view path);

// The same against the given home folder.
std::string expandTilde(std::string_view path, std::string_view home);

// The process environment's value, or "" when unset.
std::string environment(const char* name);

}  // namespace kelvor
