#include "quillet/platform/xattr.hpp"

#include <sys/xattr.h>

#include <vector>

namespace kelvor {

Result<void> setExtendedAttribute(const std::string& path, const std::string& name, const std::string& value) {
    if (::lsetxattr(path.c_str(), ("user." + name).c_str(), value.data(), value.size(), 0) != 0)
        return errnoError("setxattr " + path);
    return {};
}

std::optional<std::string> extendedAttribute(const std::string& path, const std::string& name) {
    std::string full = "user." + name;
    ssize_t size = ::lgetxattr(path.c_str(), full.c_str(), nullptr, 0);
    if (size < 0) return std::nullopt;
    std::string value(static_cast<size_t>(size), '\0');
    size = ::lgetxattr(path.c_str(), full.c_str(), value.data(), value.size());
    if (size < 0) return std::nullopt;
    value.resize(static_cast<size_t>(size));
    return value;
}

// Links refuse user attributes with EPERM; file systems without them say ENOTSUP.
bool attributesUnsupported(const Error& error) { return error.code == ENOTSUP || error.code == EPERM; }

}  // namespace kelvor
