#include <time.h>

#include "bench/library.h"

namespace {

void kqbStretch(benchmark::State &state) {
    RTProfiler profiler;
    for (auto _ : state) {
        profiler.enter();
        profiler.exit("READ");
    }
}
BENCHMARK(kqbStretch)->Name("profiler: enter and exit/kqb");

// The bound: without the time there is nothing to book.
void twoClocks(benchmark::State &state) {
    timespec start, end;
    for (auto _ : state) {
        clock_gettime(CLOCK_MONOTONIC, &start);
        clock_gettime(CLOCK_MONOTONIC, &end);
        benchmark::DoNotOptimize(start);
        benchmark::DoNotOptimize(end);
    }
}
BENCHMARK(twoClocks)->Name("profiler: enter and exit/two clock_gettime");

}  // namespace

KQB_BENCH_MAIN()
