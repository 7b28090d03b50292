// Variants against QVariant and Poco::Dynamic::Var; std::variant, which has its types at compile time
// and converts nothing, bounds what can be had.
#include <Poco/Dynamic/Var.h>

#include <QString>
#include <QVariant>
#include <string>
#include <variant>

#include "bench/library.h"

namespace {

using PocoVar = Poco::Dynamic::Var;
using StdVariant = std::variant<std::monostate, bool, long long, double, std::string>;

char const kText[] = "Nineteen bytes long";
char const kOther[] = "Nineteen bytes more";
char const kNumber[] = "1234567890";

// How each holds an integer and a text.
struct Kqb {
    using Variant = KqbDatavar;
    static void store(Variant &variant, long long value) { variant.assign(value); }
    static void store(Variant &variant, char const *text) { variant.assign(text); }
    static bool less(Variant const &a, Variant const &b) { return a.compare(b) < 0; }
    static long long toInteger(Variant const &value) { return value.asInt64(); }
    static double toDouble(Variant const &value) { return value.asDouble(); }
    static auto toText(Variant const &value) { return value.asString(); }
};

struct Qt {
    using Variant = QVariant;
    static void store(Variant &variant, long long value) { variant = value; }
    static void store(Variant &variant, char const *text) { variant = QString::fromUtf8(text); }
    static bool less(Variant const &a, Variant const &b) { return a < b; }
    static long long toInteger(Variant const &value) { return value.toLongLong(); }
    static double toDouble(Variant const &value) { return value.toDouble(); }
    static auto toText(Variant const &value) { return value.toString(); }
};

struct Poco_ {
    using Variant = PocoVar;
    static void store(Variant &variant, long long value) { variant = Poco::Int64(value); }
    static void store(Variant &variant, char const *text) { variant = std::string(text); }
    static bool less(Variant const &a, Variant const &b) { return a < b; }
    static long long toInteger(Variant const &value) { return value.convert<Poco::Int64>(); }
    static double toDouble(Variant const &value) { return value.convert<double>(); }
    static auto toText(Variant const &value) { return value.convert<std::string>(); }
};

struct Std {
    using Variant = StdVariant;
    static void store(Variant &variant, long long value) { variant = value; }
    static void store(Variant &variant, char const *text) { variant = std::string(text); }
    static bool less(Variant const &a, Variant const &b) { return a < b; }
};

// Into a variant that holds one already, as the fields of one row after the other are read.
template <class Who>
void storeInteger(benchmark::State &state) {
    typename Who::Variant variant;
    long long value = 0;
    for (auto _ : state) {
        Who::store(variant, ++value);
        benchmark::DoNotOptimize(variant);
    }
}

template <class Who>
void storeText(benchmark::State &state) {
    typename Who::Variant variant;
    for (auto _ : state) {
        Who::store(variant, kText);
        benchmark::DoNotOptimize(variant);
    }
}

template <class Who>
void makeText(benchmark::State &state) {
    for (auto _ : state) {
        typename Who::Variant variant;
        Who::store(variant, kText);
        benchmark::DoNotOptimize(variant);
    }
}

template <class Who, class Value>
void copy(benchmark::State &state, Value value) {
    typename Who::Variant variant;
    Who::store(variant, value);
    for (auto _ : state) {
        typename Who::Variant const other(variant);
        benchmark::DoNotOptimize(other);
    }
}

template <class Who, class Value>
void compare(benchmark::State &state, Value left, Value right) {
    typename Who::Variant a, b;
    Who::store(a, left);
    Who::store(b, right);
    for (auto _ : state) {
        benchmark::DoNotOptimize(a);
        benchmark::DoNotOptimize(b);
        benchmark::DoNotOptimize(Who::less(a, b));
    }
}

template <class Who, class Value, class Convert>
void convert(benchmark::State &state, Value value, Convert conversion) {
    typename Who::Variant variant;
    Who::store(variant, value);
    for (auto _ : state) {
        benchmark::DoNotOptimize(variant);
        auto result = conversion(variant);
        benchmark::DoNotOptimize(result);
    }
}

template <class Who>
void registerStorage(std::string const &who) {
    auto const add = [&](char const *work, auto function, auto... arguments) {
        benchmark::RegisterBenchmark((std::string("variant: ") + work + "/" + who).c_str(),
                                     function, arguments...);
    };
    char const *const text = kText, *const other = kOther;
    add("store an integer", storeInteger<Who>);
    add("store a text", storeText<Who>);
    add("make and end a text", makeText<Who>);
    add("copy an integer", copy<Who, long long>, 5LL);
    add("copy a text", copy<Who, char const *>, text);
    add("compare integers", compare<Who, long long>, 5LL, 6LL);
    add("compare texts", compare<Who, char const *>, text, other);
}

template <class Who>
void registerConversions(std::string const &who) {
    using Variant = typename Who::Variant;
    auto const add = [&](char const *work, auto value, auto conversion) {
        benchmark::RegisterBenchmark((std::string("variant: convert ") + work + "/" + who).c_str(),
                                     convert<Who, decltype(value), decltype(conversion)>, value,
                                     conversion);
    };
    char const *const number = kNumber, *const decimal = "1234.5";
    add("text to integer", number, [](Variant const &v) { return Who::toInteger(v); });
    add("text to double", decimal, [](Variant const &v) { return Who::toDouble(v); });
    add("integer to double", 12345LL, [](Variant const &v) { return Who::toDouble(v); });
    add("integer to text", 1234567890LL, [](Variant const &v) { return Who::toText(v); });
}

bool const registered = [] {
    registerStorage<Kqb>("kqb");
    registerStorage<Qt>("QVariant");
    registerStorage<Poco_>("Poco::Dynamic::Var");
    registerStorage<Std>("std::variant");
    registerConversions<Kqb>("kqb");
    registerConversions<Qt>("QVariant");
    registerConversions<Poco_>("Poco::Dynamic::Var");
    return true;
}();

}  // namespace

KQB_BENCH_MAIN()
