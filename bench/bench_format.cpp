#include <absl/strings/str_format.h>

#include "bench/library.h"

namespace {

constexpr long long kLong = 123456789012345LL;

void kqbMixed(benchmark::State &state) {
    for (auto _ : state) {
        KqbString text = kqbStringFormat("%s/%d/%lld/%g", "option", 4711, kLong, 3.25);
        benchmark::DoNotOptimize(text);
    }
}
BENCHMARK(kqbMixed)->Name("format %s/%d/%lld/%g/kqb");

void abslMixed(benchmark::State &state) {
    for (auto _ : state) {
        std::string text = absl::StrFormat("%s/%d/%d/%.15g", "option", 4711, kLong, 3.25);
        benchmark::DoNotOptimize(text);
    }
}
BENCHMARK(abslMixed)->Name("format %s/%d/%lld/%g/absl::StrFormat");

void kqbWhole(benchmark::State &state) {
    for (auto _ : state) {
        KqbString text = kqbStringFormat("%s/%d/%lld", "option", 4711, kLong);
        benchmark::DoNotOptimize(text);
    }
}
BENCHMARK(kqbWhole)->Name("format without %g/kqb");

void abslWhole(benchmark::State &state) {
    for (auto _ : state) {
        std::string text = absl::StrFormat("%s/%d/%d", "option", 4711, kLong);
        benchmark::DoNotOptimize(text);
    }
}
BENCHMARK(abslWhole)->Name("format without %g/absl::StrFormat");

}  // namespace

KQB_BENCH_MAIN()
