#include "quillet/platform/read_advice.hpp"

#include <fcntl.h>

namespace kelvor {

void adviseSequentialRead(int descriptor) { (void)::posix_fadvise(descriptor, 0, 0, POSIX_FADV_SEQUENTIAL); }

}  // namespace kelvor
