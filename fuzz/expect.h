// What a fuzzer demands of the code under test.
#pragma once

#include <cstdio>
#include <cstdlib>

// Aborts with the promise that was broken, so that the fuzzer keeps the input.
inline void expect(bool kept, const char* promise) {
    if (!kept) {
        std::fprintf(stderr, "broken: %s\n", promise);
        std::abort();
    }
}
