#include "quillet/platform/xattr.hpp"

#include <sys/xattr.h>

namespace kelvor {

Result<void> setExtendedAttribute(const std::string& path, const std::string& name, const std::string& value) {
    if (::setxattr(path.c_str(), name.c_str(), value.data(), value.size(), 0, XATTR_NOFOLLOW) != 0)
        return errnoError("setxattr " + path);
    return {};
}

std::optional<std::string> extendedAttribute(const std::string& path, const std::string& name) {
    ssize_t size = ::getxattr(path.c_str(), name.c_str(), nullptr, 0, 0, XATTR_NOFOLLOW);
    if (size < 0) return std::nullopt;
    std::string value(static_cast<size_t>(size), '\0');
    size = ::getxattr(path.c_str(), name.c_str(), value.data(), value.size(), 0, XATTR_NOFOLLOW);
    if (size < 0) return std::nullopt;
    value.resize(static_cast<size_t>(size));
    return value;
}

bool attributesUnsupported(const Error& error) { return error.code == ENOTSUP || error.code == EPERM; }

}  // namespace kelvor
