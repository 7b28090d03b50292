#include <absl/strings/ascii.h>
#include <absl/strings/match.h>
#include <unicode/ucasemap.h>

#include <QByteArray>
#include <QString>
#include <cstring>
#include <functional>
#include <string>
#include <thread>

#include "bench/library.h"

namespace {

template <class Function>
void row(std::string const &name, Function function, int threads = 1) {
    auto *const made = benchmark::RegisterBenchmark(
        name.c_str(), [function](benchmark::State &state) { function(state); });
    if (threads > 1) made->Threads(threads)->UseRealTime();
}

std::string repeated(std::string const &piece, std::size_t size) {
    std::string text;
    while (text.size() + piece.size() <= size) text += piece;
    return text;
}

void construct(std::size_t size) {
    std::string const text(size, 'x');
    std::string const name = "construct " + std::to_string(size) + " B/";
    row(name + "kqb", [text](benchmark::State &state) {
        for (auto _ : state) {
            KqbString string(text.c_str());
            benchmark::DoNotOptimize(string);
        }
    });
    row(name + "std::string", [text](benchmark::State &state) {
        for (auto _ : state) {
            std::string string(text.c_str());
            benchmark::DoNotOptimize(string);
        }
    });
    row(name + "QByteArray", [text](benchmark::State &state) {
        for (auto _ : state) {
            QByteArray string(text.c_str());
            benchmark::DoNotOptimize(string);
        }
    });
}

void copy(int threads) {
    std::string const name = "copy and destroy, " + std::to_string(threads) + " thr/";
    row(
        name + "kqb",
        [](benchmark::State &state) {
            KqbString const source("a text to be copied");
            for (auto _ : state) {
                KqbString string(source);
                benchmark::DoNotOptimize(string);
            }
        },
        threads);
    row(
        name + "QString",
        [](benchmark::State &state) {
            QString const source("a text to be copied");
            for (auto _ : state) {
                QString string(source);
                benchmark::DoNotOptimize(string);
            }
        },
        threads);
}

void append() {
    row("append 1 character 1000 times/kqb", [](benchmark::State &state) {
        for (auto _ : state) {
            KqbString string;
            for (int i = 0; i < 1000; ++i) string.append("x", nullptr);
            benchmark::DoNotOptimize(string);
        }
    });
    row("append 1 character 1000 times/QString", [](benchmark::State &state) {
        for (auto _ : state) {
            QString string;
            for (int i = 0; i < 1000; ++i) string.append("x");
            benchmark::DoNotOptimize(string);
        }
    });
    row("append 1 character 1000 times/std::string", [](benchmark::State &state) {
        for (auto _ : state) {
            std::string string;
            for (int i = 0; i < 1000; ++i) string.append("x");
            benchmark::DoNotOptimize(string);
        }
    });
}

void find() {
    std::string const text = repeated("the quick brown fox jumps over it. ", 4080) + "needle here";
    row("find near the end of 4 KiB/kqb", [text](benchmark::State &state) {
        KqbString const string(text.c_str());
        KqbString const needle("needle");
        for (auto _ : state) benchmark::DoNotOptimize(string.find(needle, 0));
    });
    row("find near the end of 4 KiB/memmem", [text](benchmark::State &state) {
        for (auto _ : state) {
            benchmark::DoNotOptimize(memmem(text.data(), text.size(), "needle", 6));
        }
    });
}

void replace() {
    std::string const text = repeated("the quick brown fox jumps over it. ", 4096);
    row("replace all in 4 KiB/kqb", [text](benchmark::State &state) {
        KqbString const string(text.c_str());
        KqbString const from("fox");
        KqbString const to("badger");
        for (auto _ : state) {
            KqbString result = string.replace(from, to, 0, -1);
            benchmark::DoNotOptimize(result);
        }
    });
    row("replace all in 4 KiB/std::string", [text](benchmark::State &state) {
        std::string const from = "fox";
        std::string const to = "badger";
        for (auto _ : state) {
            std::string result;
            std::size_t at = 0;
            for (std::size_t hit; (hit = text.find(from, at)) != std::string::npos;
                 at = hit + from.size()) {
                result.append(text, at, hit - at).append(to);
            }
            result.append(text, at, std::string::npos);
            benchmark::DoNotOptimize(result);
        }
    });
}

UCaseMap *caseMap() {
    UErrorCode status = U_ZERO_ERROR;
    static UCaseMap *const map = ucasemap_open("", U_FOLD_CASE_DEFAULT, &status);
    return map;
}

void compare() {
    std::string const a = repeated("Mixed Case/Option Key ", 200);
    std::string b = a;
    for (char &c : b) c = absl::ascii_toupper(static_cast<unsigned char>(c));
    row("compare without case, ASCII/kqb", [a, b](benchmark::State &state) {
        KqbString const x(a.c_str());
        KqbString const y(b.c_str());
        for (auto _ : state) benchmark::DoNotOptimize(x.compare(y, false));
    });
    row("compare without case, ASCII/Abseil", [a, b](benchmark::State &state) {
        for (auto _ : state) benchmark::DoNotOptimize(absl::EqualsIgnoreCase(a, b));
    });
    std::string const c = repeated("Привет Ελλάδα Straßenbahn ", 200);
    std::string const d = repeated("ПРИВЕТ ΕΛΛΆΔΑ STRAßENBAHN ", 200);
    row("compare without case, other scripts/kqb", [c, d](benchmark::State &state) {
        KqbString const x(c.c_str());
        KqbString const y(d.c_str());
        for (auto _ : state) benchmark::DoNotOptimize(x.compare(y, false));
    });
    row("compare without case, other scripts/ICU", [c, d](benchmark::State &state) {
        char folded[2][1024];
        for (auto _ : state) {
            UErrorCode status = U_ZERO_ERROR;
            ucasemap_utf8FoldCase(caseMap(), folded[0], 1024, c.data(), static_cast<int>(c.size()),
                                  &status);
            ucasemap_utf8FoldCase(caseMap(), folded[1], 1024, d.data(), static_cast<int>(d.size()),
                                  &status);
            benchmark::DoNotOptimize(std::strcmp(folded[0], folded[1]));
        }
    });
}

void lower() {
    std::string const ascii = repeated("Mixed Case/Option Key ", 200);
    std::string const other = repeated("ПРИВЕТ Ελλάδα STRAßE ", 200);
    auto const kqb = [](std::string const &text) {
        return [text](benchmark::State &state) {
            KqbString const source(text.c_str());
            for (auto _ : state) {
                KqbString string(source);
                string.lowercase();
                benchmark::DoNotOptimize(string);
            }
        };
    };
    row("lower case of 200 B, ASCII/kqb", kqb(ascii));
    row("lower case of 200 B, ASCII/Abseil", [ascii](benchmark::State &state) {
        for (auto _ : state) {
            std::string string = absl::AsciiStrToLower(ascii);
            benchmark::DoNotOptimize(string);
        }
    });
    row("lower case of 200 B, other scripts/kqb", kqb(other));
    row("lower case of 200 B, other scripts/ICU", [other](benchmark::State &state) {
        for (auto _ : state) {
            UErrorCode status = U_ZERO_ERROR;
            std::string string(256, '\0');
            int const size = ucasemap_utf8ToLower(caseMap(), string.data(), 256, other.data(),
                                                  static_cast<int>(other.size()), &status);
            string.resize(static_cast<std::size_t>(size));
            benchmark::DoNotOptimize(string);
        }
    });
}

// Characters of a text, a 64-bit word at a time: continuation bytes are counted out.
std::size_t countByWords(char const *text, std::size_t size) {
    std::size_t characters = size;
    std::size_t i = 0;
    for (; i + 8 <= size; i += 8) {
        std::uint64_t word;
        std::memcpy(&word, text + i, 8);
        std::uint64_t const continuation = (word >> 7) & (~word >> 6) & 0x0101010101010101ULL;
        characters -= static_cast<std::size_t>((continuation * 0x0101010101010101ULL) >> 56);
    }
    for (; i < size; ++i) characters -= (text[i] & 0xC0) == 0x80 ? 1U : 0U;
    return characters;
}

void count() {
    std::string const text = repeated("Grüße, мир! ", 4096);
    // The library counts when it takes text in; borrowing does nothing else.
    row("count the characters of 4 KiB/kqb", [text](benchmark::State &state) {
        for (auto _ : state) {
            KqbString const string(text.c_str(), true);
            benchmark::DoNotOptimize(string.length());
        }
    });
    row("count the characters of 4 KiB/64-bit words", [text](benchmark::State &state) {
        for (auto _ : state) {
            benchmark::DoNotOptimize(countByWords(text.c_str(), std::strlen(text.c_str())));
        }
    });
}

// How the cost of a whole life of a string grows with its size.
void growth() {
    for (long size : {8L, 1000L, 100'000L, 10'000'000L, 100'000'000L}) {
        std::string const text(static_cast<std::size_t>(size), 'x');
        row("growth: string life/" + std::to_string(size), [text](benchmark::State &state) {
            KqbString const needle("y");
            for (auto _ : state) {
                KqbString string(text.c_str());
                benchmark::DoNotOptimize(string.find(needle, 0));
                string.uppercase();
            }
        });
    }
}

}  // namespace

int main(int argc, char **argv) {
    Library const library;
    for (std::size_t size : {8, 24, 200}) construct(size);
    copy(1);
    append();
    find();
    replace();
    compare();
    lower();
    count();
    growth();
    // Last, because a process that had two threads keeps paying for it.
    copy(2);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
