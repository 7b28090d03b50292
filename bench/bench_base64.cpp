#include <openssl/evp.h>

#include <algorithm>
#include <vector>

#include "bench/library.h"
#include "platform/kqsstr.h"

namespace {

constexpr std::size_t kSize = 100'000'000;
constexpr std::size_t kLine = 57;

std::vector<unsigned char> const &content() {
    static auto const bytes = [] {
        std::vector<unsigned char> result(kSize);
        unsigned state = 1;
        for (unsigned char &byte : result)
            byte = static_cast<unsigned char>((state = state * 1664525 + 1013904223) >> 24);
        return result;
    }();
    return bytes;
}

// Encodes line by line, a line end behind each, as a mail has them.
template <class Encode>
void lines(benchmark::State &state, Encode const &encode) {
    std::vector<unsigned char> const &bytes = content();
    std::vector<char> text(kSize / kLine * 78 + 200);
    for (auto _ : state) {
        char *to = text.data();
        for (std::size_t at = 0; at < kSize; at += kLine) {
            to += encode(bytes.data() + at, std::min(kLine, kSize - at), to);
            *to++ = '\r';
            *to++ = '\n';
        }
        benchmark::DoNotOptimize(text.data());
        benchmark::ClobberMemory();
    }
}

void kqbLines(benchmark::State &state) {
    lines(state, [](unsigned char const *data, std::size_t size, char *to) {
        return kqs_b64_encode(data, size, to);
    });
}
BENCHMARK(kqbLines)->Name("base-64 in lines, 100 MB/kqb")->Unit(benchmark::kMillisecond);

void opensslLines(benchmark::State &state) {
    lines(state, [](unsigned char const *data, std::size_t size, char *to) {
        return EVP_EncodeBlock(reinterpret_cast<unsigned char *>(to), data, static_cast<int>(size));
    });
}
BENCHMARK(opensslLines)
    ->Name("base-64 in lines, 100 MB/EVP_EncodeBlock")
    ->Unit(benchmark::kMillisecond);

}  // namespace

KQB_BENCH_MAIN()
