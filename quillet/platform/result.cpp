#include "quillet/platform/result.hpp"

#include <cstring>

namespace kelvor {

ErrorKind errorKindOf(int code) {
    switch (code) {
        case ENOENT:
        case ENOTDIR: return ErrorKind::notFound;
        case EACCES:
        case EPERM:
        case EROFS: return ErrorKind::denied;
        case EEXIST:
        case ENOTEMPTY: return ErrorKind::exists;
        case ENOSPC:
        case EDQUOT: return ErrorKind::noSpace;
        case EXDEV: return ErrorKind::crossDevice;
        case EBUSY:
        case ETXTBSY:
        case EWOULDBLOCK: return ErrorKind::busy;
        default: return ErrorKind::other;
    }
}

std::string Error::describe() const {
    if (code == 0) return context;
    return context + ": " + std::strerror(code);
}

Error errnoError(std::string context, int code) { return Error{code, std::move(context)}; }

}  // namespace kelvor
