#include <strings.h>

#include <map>
#include <random>
#include <shared_mutex>
#include <string>
#include <vector>

#include "bench/library.h"

namespace {

struct LessNoCase {
    bool operator()(std::string const &a, std::string const &b) const {
        return strcasecmp(a.c_str(), b.c_str()) < 0;
    }
};

struct Peer {
    std::shared_mutex mutex;
    std::map<std::string, std::string, LessNoCase> options;

    bool get(std::string const &key, std::string *value) {
        std::shared_lock const guard(mutex);
        auto const found = options.find(key);
        if (found == options.end()) return false;
        *value = found->second;
        return true;
    }
};

std::string keyOf(int i) {
    return "BASE/Section_" + std::to_string(i % 37) + "/Key" + std::to_string(i);
}
std::string valueOf(int i) { return "the value of option number " + std::to_string(i); }

constexpr int kQuestions = 1024;

// Asked in another letter case and another order than set.
template <class String>
std::vector<String> questions(int count) {
    std::vector<String> keys;
    std::mt19937 random(3);
    for (int i = 0; i < kQuestions; ++i) {
        std::string key = keyOf(static_cast<int>(random() % static_cast<unsigned>(count)));
        for (char &c : key)
            c = i % 2 == 0 ? static_cast<char>(std::tolower(c))
                           : static_cast<char>(std::toupper(c));
        keys.emplace_back(key.c_str());
    }
    return keys;
}

// Keys are asked for in an order that never repeats, which no branch predictor can learn.
class Order {
public:
    explicit Order(int thread) : state_(static_cast<unsigned>(thread) * 7919 + 1) {}
    std::size_t next() {
        state_ = state_ * 1664525 + 1013904223;
        return state_ >> 22;
    }

private:
    unsigned state_;
};
static_assert(kQuestions == 1024);

KqbConfigOptions *filled(int count) {
    KqbString name;
    name.assign(count);
    KqbConfigOptions *const options = kqbGetConfigOptions(name);
    for (int i = options->getOptionCount(); i < count; ++i) {
        options->setOption(keyOf(i).c_str(), valueOf(i).c_str());
    }
    return options;
}

void kqbLookUp(benchmark::State &state, KqbConfigOptions *options, int count) {
    auto const keys = questions<KqbString>(count);
    KqbString value;
    Order order(state.thread_index());
    for (auto _ : state) {
        if (!options->getOption(keys[order.next()], &value, false)) state.SkipWithError("missing");
        benchmark::DoNotOptimize(value);
    }
}

void peerLookUp(benchmark::State &state, Peer *peer, int count) {
    auto const keys = questions<std::string>(count);
    std::string value;
    Order order(state.thread_index());
    for (auto _ : state) {
        if (!peer->get(keys[order.next()], &value)) state.SkipWithError("missing");
        benchmark::DoNotOptimize(value);
    }
}

void kqbFill(benchmark::State &state, int count) {
    std::vector<KqbString> keys;
    std::vector<KqbString> values;
    for (int i = 0; i < count; ++i) {
        keys.emplace_back(keyOf(i).c_str());
        values.emplace_back(valueOf(i).c_str());
    }
    for (auto _ : state) {
        KqbConfigOptions *const options = kqbGetConfigOptions("growth");
        for (std::size_t i = 0; i < keys.size(); ++i) options->setOption(keys[i], values[i]);
        KqbString value;
        for (KqbString const &key : keys) options->getOption(key, &value, false);
        kqbClearConfigOptions("growth");
    }
}

}  // namespace

int main(int argc, char **argv) {
    Library const library;
    constexpr int kCount = 1000;
    KqbConfigOptions *const options = filled(kCount);
    auto *const peer = new Peer;
    for (int i = 0; i < kCount; ++i) peer->options.emplace(keyOf(i), valueOf(i));
    for (int threads : {1, 2}) {
        std::string const row = "option look-up, " + std::to_string(threads) + " readers/";
        benchmark::RegisterBenchmark(
            (row + "kqb").c_str(),
            [=](benchmark::State &state) { kqbLookUp(state, options, kCount); })
            ->Threads(threads)
            ->UseRealTime();
        benchmark::RegisterBenchmark(
            (row + "map+shared_mutex").c_str(),
            [=](benchmark::State &state) { peerLookUp(state, peer, kCount); })
            ->Threads(threads)
            ->UseRealTime();
    }
    for (int count : {100, 1000, 10000, 100000, 1000000}) {
        benchmark::RegisterBenchmark(
            ("growth: registry fill and ask/" + std::to_string(count)).c_str(),
            [=](benchmark::State &state) { kqbFill(state, count); })
            ->Unit(benchmark::kMicrosecond);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    delete peer;
    return 0;
}
