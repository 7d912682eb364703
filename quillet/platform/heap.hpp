#pragma once
// How the C library's heap serves many threads.
namespace kelvor {

// Lets threads share the heap's per-thread pools, at most one per processor online. A walk on a
// cold disk runs many more workers than processors, and a pool of its own for each would keep
// its freed memory apart, so the process would hold about 100 KB more per worker.
void shareHeapAmongThreads(int processors);

}  // namespace kelvor
