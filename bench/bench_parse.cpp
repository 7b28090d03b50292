// Attribute lists of 1 KB against splitting by hand.
#include <string>
#include <string_view>
#include <vector>

#include "bench/library.h"

namespace {

std::string const kLine = [] {
    std::string line;
    for (int i = 0; line.size() < 1000; ++i) {
        line += "BASE/OPTION_" + std::to_string(i) + "=value of the option " + std::to_string(i);
        line += "; ";
    }
    return line;
}();

std::string_view trimmed(std::string_view text) {
    std::size_t const begin = text.find_first_not_of(' ');
    if (begin == std::string_view::npos) return {};
    return text.substr(begin, text.find_last_not_of(' ') + 1 - begin);
}

// Calls take with every piece.
template <class Take>
void forPieces(std::string_view line, Take const &take) {
    for (std::size_t begin = 0, end = 0; begin < line.size(); begin = end + 1) {
        end = std::min(line.find(';', begin), line.size());
        if (end > begin) take(trimmed(line.substr(begin, end - begin)));
    }
}

void kqbPieces(benchmark::State &state) {
    KqbString const line(kLine.c_str());
    for (auto _ : state) {
        KqbParse list;
        list.parse(line, 0);
        std::vector<KqbString> pieces(static_cast<std::size_t>(list.getAttributeCount()));
        for (std::size_t i = 0; i < pieces.size(); ++i) {
            list.getAttributeRaw(static_cast<int>(i), &pieces[i]);
        }
        benchmark::DoNotOptimize(pieces.data());
    }
}
BENCHMARK(kqbPieces)->Name("attributes of 1 KB, pieces/kqb");

void viewPieces(benchmark::State &state) {
    for (auto _ : state) {
        std::vector<std::string> pieces;
        forPieces(kLine, [&](std::string_view piece) { pieces.emplace_back(piece); });
        benchmark::DoNotOptimize(pieces.data());
    }
}
BENCHMARK(viewPieces)->Name("attributes of 1 KB, pieces/string_view");

void kqbPairs(benchmark::State &state) {
    KqbString const line(kLine.c_str());
    for (auto _ : state) {
        KqbParse list;
        list.parse(line, 0);
        KqbString name, value;
        for (int i = 0; i < list.getAttributeCount(); ++i) {
            list.getAttribute(i, &name, &value);
            benchmark::DoNotOptimize(name.asCstr());
            benchmark::DoNotOptimize(value.asCstr());
        }
    }
}
BENCHMARK(kqbPairs)->Name("attributes of 1 KB, names and values/kqb");

void viewPairs(benchmark::State &state) {
    for (auto _ : state) {
        std::string name, value;
        forPieces(kLine, [&](std::string_view piece) {
            std::size_t const equals = piece.find('=');
            name = trimmed(piece.substr(0, equals));
            value = piece.substr(equals + 1);
            benchmark::DoNotOptimize(name.data());
            benchmark::DoNotOptimize(value.data());
        });
    }
}
BENCHMARK(viewPairs)->Name("attributes of 1 KB, names and values/string_view");

}  // namespace

KQB_BENCH_MAIN()
