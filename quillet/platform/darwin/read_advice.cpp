#include "quillet/platform/read_advice.hpp"

#include <fcntl.h>

namespace kelvor {

void adviseSequentialRead(int descriptor) { (void)::fcntl(descriptor, F_RDAHEAD, 1); }

}  // namespace kelvor
