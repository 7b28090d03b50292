// Decimals: money (9 digits), middle (25) and full (52) operands, a few hundred of each, so that
// no branch learns them by heart.
#include <array>
#include <boost/multiprecision/cpp_dec_float.hpp>
#include <random>
#include <string>
#include <vector>

#include "bench/decimal128.h"
#include "bench/library.h"

namespace {

using Boost = boost::multiprecision::number<boost::multiprecision::cpp_dec_float<52>,
                                            boost::multiprecision::et_off>;

struct Set {
    char const *name;
    int digits, leastDecimals, mostDecimals;
};

constexpr Set kMoney = {"money", 9, 2, 2};
constexpr Set kMiddle = {"middle", 25, 8, 12};
constexpr Set kFull = {"full", 52, 22, 30};
constexpr Set kThirtyFour = {"34 digits", 34, 12, 20};
constexpr std::size_t kCount = 256;

std::vector<std::string> textsOf(Set const &set, unsigned seed) {
    std::mt19937_64 random(seed);
    std::vector<std::string> texts(kCount);
    for (std::string &text : texts) {
        text = std::to_string(random() % 9 + 1);
        while (static_cast<int>(text.size()) < set.digits) text += std::to_string(random() % 10);
        auto const spread = static_cast<unsigned>(set.mostDecimals - set.leastDecimals + 1);
        auto const decimals = set.leastDecimals + static_cast<int>(random() % spread);
        text.insert(text.end() - decimals, '.');
        if (random() % 4 == 0) text.insert(text.begin(), '-');
    }
    return texts;
}

template <class Number>
std::vector<Number> numbersOf(Set const &set, unsigned seed) {
    std::vector<Number> numbers;
    for (std::string const &text : textsOf(set, seed)) numbers.emplace_back(text.c_str());
    return numbers;
}

struct Add {
    static constexpr char const *kName = "add";
    static KqbReal run(KqbReal &a, KqbReal const &b) { return a.add(b); }
    static Boost run(Boost &a, Boost const &b) { return a + b; }
    static Decimal128 run(Decimal128 &a, Decimal128 const &b) { return decimal128Add(a, b); }
};

struct Multiply {
    static constexpr char const *kName = "multiply";
    static KqbReal run(KqbReal &a, KqbReal const &b) { return a.multiply(b); }
    static Boost run(Boost &a, Boost const &b) { return a * b; }
    static Decimal128 run(Decimal128 &a, Decimal128 const &b) { return decimal128Multiply(a, b); }
};

struct Divide {
    static constexpr char const *kName = "divide";
    static KqbReal run(KqbReal &a, KqbReal const &b) { return a.divide(b); }
    static Boost run(Boost &a, Boost const &b) { return a / b; }
    static Decimal128 run(Decimal128 &a, Decimal128 const &b) { return decimal128Divide(a, b); }
};

struct Compare {
    static constexpr char const *kName = "compare";
    static int run(KqbReal &a, KqbReal const &b) { return a.compare(b); }
    static int run(Boost &a, Boost const &b) { return a.compare(b); }
};

template <class Operation, class Number>
void pairs(benchmark::State &state, Set const &set) {
    auto left = numbersOf<Number>(set, 1), right = numbersOf<Number>(set, 2);
    for (std::size_t i = 0; auto _ : state) {
        auto const result = Operation::run(left[i], right[i]);
        benchmark::DoNotOptimize(&result);
        benchmark::ClobberMemory();
        i = (i + 1) % kCount;
    }
}

template <class Number>
void parse(benchmark::State &state, Set const &set) {
    auto const texts = textsOf(set, 1);
    for (std::size_t i = 0; auto _ : state) {
        Number const number(texts[i].c_str());
        benchmark::DoNotOptimize(&number);
        benchmark::ClobberMemory();
        i = (i + 1) % kCount;
    }
}

KqbString textOf(KqbReal const &number) { return number.asString(); }
std::string textOf(Boost const &number) { return number.str(); }

template <class Number>
void write(benchmark::State &state, Set const &set) {
    auto const numbers = numbersOf<Number>(set, 1);
    for (std::size_t i = 0; auto _ : state) {
        auto const text = textOf(numbers[i]);
        benchmark::DoNotOptimize(&text);
        benchmark::ClobberMemory();
        i = (i + 1) % kCount;
    }
}

using Function = void (*)(benchmark::State &, Set const &);

void add(std::string const &work, Set const &set, char const *who, Function function) {
    benchmark::RegisterBenchmark(("decimal " + work + ", " + set.name + "/" + who).c_str(),
                                 [=](benchmark::State &state) { function(state, set); });
}

template <class Operation>
void addPairs(Set const &set) {
    add(Operation::kName, set, "kqb", pairs<Operation, KqbReal>);
    add(Operation::kName, set, "cpp_dec_float", pairs<Operation, Boost>);
}

template <class Operation>
void addShort() {
    add(Operation::kName, kThirtyFour, "kqb", pairs<Operation, KqbReal>);
    add(Operation::kName, kThirtyFour, "_Decimal128", pairs<Operation, Decimal128>);
}

bool const isRegistered = [] {
    for (Set const &set : {kMoney, kMiddle, kFull}) {
        addPairs<Add>(set);
        addPairs<Multiply>(set);
        addPairs<Divide>(set);
        addPairs<Compare>(set);
        add("parse", set, "kqb", parse<KqbReal>);
        add("parse", set, "cpp_dec_float", parse<Boost>);
        add("to text", set, "kqb", write<KqbReal>);
        add("to text", set, "cpp_dec_float", write<Boost>);
    }
    addShort<Add>();
    addShort<Multiply>();
    addShort<Divide>();
    return true;
}();

}  // namespace

KQB_BENCH_MAIN()
