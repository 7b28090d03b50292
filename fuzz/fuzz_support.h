// What every target needs: the pool and the text files, brought up once, and a check that stops.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "config/kqbconfigoptions_internal.h"
#include "core/kqbmempool_internal.h"
#include "io/kqbtextio_internal.h"

extern "C" KqbTextIoFactory *KqbIOInitialize(char const *moduleDirectory);

inline void fuzzCheck(bool holds, char const *what) {
    if (holds) return;
    std::fprintf(stderr, "broken: %s\n", what);
    std::abort();
}

inline void fuzzBringUp() {
    static bool const up = [] {
        fuzzCheck(kqbMemPoolStart(), "pool");
        kqbSetTextIoFactory(KqbIOInitialize(""));
        fuzzCheck(kqbConfigOptionsStart(), "registries");
        return true;
    }();
    (void)up;
}

inline std::string fuzzText(std::uint8_t const *data, std::size_t size) {
    return std::string(reinterpret_cast<char const *>(data), size);
}
