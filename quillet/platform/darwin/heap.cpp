#include "quillet/platform/heap.hpp"

namespace kelvor {

// macOS's allocator keeps one magazine per processor, not per thread: nothing to limit.
void shareHeapAmongThreads(int) {}

}  // namespace kelvor
