#pragma once
// Extended attributes on one file-system object, never through a symbolic link. Names are given
// without a namespace; the Linux backend puts them in "user.".
#include <optional>
#include <string>

#include "quillet/platform/result.hpp"

namespace kelvor {

// Sets `name` to `value` on `path` itself (a link is marked as the link where the OS allows it).
Result<void> setExtendedAttribute(const std::string& path, const std::string& name, const std::string& value);

// The value of `name` on `path` itself, or none when it is absent or cannot be read.
std::optional<std::string> extendedAttribute(const std::string& path, const std::string& name);

// True when `error` says the file system keeps no such attributes (tmpfs, FAT, some network mounts).
bool attributesUnsupported(const Error& error);

}  // namespace kelvor
