#pragma once
// What a fuzz target does when a property it checks does not hold: abort, so libFuzzer keeps the
// input and reports it like a crash. A plain assert would vanish in a build with NDEBUG.
#include <cstdio>
#include <cstdlib>

#define FUZZ_CHECK(condition)                                                                   \
    do {                                                                                        \
        if (!(condition)) {                                                                     \
            std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #condition); \
            std::abort();                                                                       \
        }                                                                                       \
    } while (false)
