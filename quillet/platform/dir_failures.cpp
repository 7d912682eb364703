#include "quillet/platform/dir_failures.hpp"

#include <sys/stat.h>

#include "quillet/platform/dirs.hpp"

namespace kelvor {

std::uint32_t objectTypeOfMode(unsigned mode) {
    switch (mode & S_IFMT) {
        case S_IFREG: return VREG;
        case S_IFDIR: return VDIR;
        case S_IFLNK: return VLNK;
        case S_IFBLK: return VBLK;
        case S_IFCHR: return VCHR;
        case S_IFSOCK: return VSOCK;
        case S_IFIFO: return VFIFO;
        default: return VNON;
    }
}

void countReadFailure(ErrorKind kind, std::uint64_t& denied, std::uint64_t& errors) {
    if (kind == ErrorKind::denied) ++denied;
    else ++errors;
}

}  // namespace kelvor
