// A letter of 30 variables. Ours is parsed once, as ctemplate's is; what fmt has to parse at each
// use is set against the row that parses each time.
#include <ctemplate/template.h>
#include <ctemplate/template_dictionary.h>
#include <fmt/args.h>
#include <fmt/format.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bench/library.h"

namespace {

constexpr int kVariables = 30;

std::string nameOf(int i) { return "variable_" + std::to_string(i); }
std::string valueOf(int i) { return std::string(static_cast<std::size_t>(i % 24), 'v') + "value"; }

std::string letter(char const *open, char const *close) {
    std::string text = "Dear reader,\n";
    for (int i = 0; i < kVariables; ++i) {
        text += "some words that stand before " + std::string(open) + nameOf(i) + close +
                (i % 4 == 0 ? ".\n" : " and ");
    }
    return text;
}

class Values : public KqbTemplateValueCB {
public:
    Values() {
        for (int i = 0; i < kVariables; ++i) values_[nameOf(i).c_str()] = valueOf(i).c_str();
    }
    bool getValue(KqbString const &name, KqbString *value, KqbString *) override {
        *value = values_[name];
        return true;
    }

private:
    std::map<KqbString, KqbString, KqbStringLess> values_;
};

struct Release {
    void operator()(KqbTemplate *made) const { made->release(); }
};

void kqbExpand(benchmark::State &state) {
    Values values;
    std::unique_ptr<KqbTemplate, Release> made(kqbCreateBasicTemplate(&values, nullptr));
    made->parse(letter("{", "}").c_str(), nullptr);
    for (auto _ : state) benchmark::DoNotOptimize(made->expand(nullptr));
}

void kqbParseAndExpand(benchmark::State &state) {
    Values values;
    std::unique_ptr<KqbTemplate, Release> made(kqbCreateBasicTemplate(&values, nullptr));
    KqbString const text(letter("{", "}").c_str());
    for (auto _ : state) {
        made->parse(text, nullptr);
        benchmark::DoNotOptimize(made->expand(nullptr));
    }
}

void fmtExpand(benchmark::State &state) {
    std::string const text = letter("{", "}");
    fmt::dynamic_format_arg_store<fmt::format_context> arguments;
    for (int i = 0; i < kVariables; ++i)
        arguments.push_back(fmt::arg(nameOf(i).c_str(), valueOf(i)));
    for (auto _ : state) benchmark::DoNotOptimize(fmt::vformat(text, arguments));
}

void ctemplateExpand(benchmark::State &state) {
    std::unique_ptr<ctemplate::Template> const made(
        ctemplate::Template::StringToTemplate(letter("{{", "}}"), ctemplate::DO_NOT_STRIP));
    ctemplate::TemplateDictionary values("values");
    for (int i = 0; i < kVariables; ++i) values.SetValue(nameOf(i), valueOf(i));
    for (auto _ : state) {
        std::string out;
        made->Expand(&out, &values);
        benchmark::DoNotOptimize(out);
    }
}

BENCHMARK(kqbExpand)->Name("template, parsed once/kqb");
BENCHMARK(fmtExpand)->Name("template, parsed once/fmt");
BENCHMARK(ctemplateExpand)->Name("template, parsed once/ctemplate");
BENCHMARK(kqbParseAndExpand)->Name("template, parsed and asked for each time/kqb");
BENCHMARK(fmtExpand)->Name("template, parsed and asked for each time/fmt");

// Until logging is configured every record is kept, and an expansion makes one for each token.
void configureLogging() {
    char const *error = nullptr;
    if (kqbStartup(&error, KQB_STARTUP_TOLERANT) != 0) std::fprintf(stderr, "%s\n", error);
}

}  // namespace

int main(int argc, char **argv) { return runBenchmarks(argc, argv, configureLogging); }
