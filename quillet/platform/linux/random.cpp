#include "quillet/platform/random.hpp"

#include <sys/random.h>

#include <cerrno>

namespace kelvor {

Result<void> secureRandomBytes(unsigned char* bytes, std::size_t size) {
    std::size_t filled = 0;
    while (filled < size) {
        ssize_t got = ::getrandom(bytes + filled, size - filled, 0);
        if (got < 0) {
            if (errno == EINTR) continue;
            return errnoError("getrandom");
        }
        filled += static_cast<std::size_t>(got);
    }
    return {};
}

}  // namespace kelvor
