// The fuzz targets' assertion: a broken invariant names itself on stderr and
// aborts, which libFuzzer reports like a crash and keeps the input of. Not
// assert(): it must hold in builds with NDEBUG too.
#pragma once

#include <cstdio>
#include <cstdlib>

#define FUZZ_CHECK(condition)                                                                   \
    do {                                                                                        \
        if (!(condition)) {                                                                     \
            std::fprintf(stderr, "%s:%d: invariant broken: %s\n", __FILE__, __LINE__, #condition); \
            std::abort();                                                                       \
        }                                                                                       \
    } while (0)
