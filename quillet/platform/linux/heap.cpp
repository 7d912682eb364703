#include "quillet/platform/heap.hpp"

#include <malloc.h>

#include <algorithm>

namespace kelvor {

void shareHeapAmongThreads(int processors) {
#if defined(__GLIBC__)
    // glibc makes up to eight arenas per processor; fewer cost little, as workers allocate rarely.
    mallopt(M_ARENA_MAX, std::max(1, processors));
#else
    (void)processors;  // musl has one heap for all threads already
#endif
}

}  // namespace kelvor
