// Brings the library up for a benchmark program.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>

#include "kqb/kqb.h"

class Library {
public:
    Library() {
        char const *reason = nullptr;
        if (kqbInitialize(KQB_BENCH_BIN "/bench", &reason) != 0) {
            std::fprintf(stderr, "%s\n", reason);
            std::exit(1);
        }
    }
    ~Library() { kqbShutdown(); }
};

inline int runBenchmarks(int argc, char **argv, void (*prepare)() = nullptr) {
    Library const library;
    if (prepare != nullptr) prepare();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}

#define KQB_BENCH_MAIN() \
    int main(int argc, char **argv) { return runBenchmarks(argc, argv); }
