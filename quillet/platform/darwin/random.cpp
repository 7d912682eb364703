#include "quillet/platform/random.hpp"

#include <stdlib.h>

namespace kelvor {

// arc4random_buf draws from the same kernel source as SecRandomCopyBytes and cannot fail, so the
// program needs no Security framework for it.
Result<void> secureRandomBytes(unsigned char* bytes, std::size_t size) {
    ::arc4random_buf(bytes, size);
    return {};
}

}  // namespace kelvor
