// Options that refer to each other: "key=value" lines, each expanded.
#include <cstring>
#include <sstream>

#include "fuzz/fuzz_support.h"
#include "kqb/kqbconfigoptions.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const *data, std::size_t size) {
    fuzzBringUp();
    KqbConfigOptions *const options = kqbGetConfigOptions("fuzz");
    std::istringstream lines(fuzzText(data, size));
    for (std::string line; std::getline(lines, line);) {
        std::size_t const equals = line.find('=');
        if (equals == std::string::npos) continue;
        options->setOption(line.substr(0, equals).c_str(), line.substr(equals + 1).c_str());
    }
    for (int i = 0; i < options->getOptionCount(); ++i) {
        KqbString key;
        KqbString value;
        fuzzCheck(options->getOptionAt(i, &key, nullptr, false), "option");
        if (!options->getOption(key, &value, true)) continue;
        // A whole expansion leaves at most one marker, and expanding it again is no change.
        char const *const marker = std::strstr(value.asCstr(), "%%");
        fuzzCheck(marker == nullptr || std::strstr(marker + 2, "%%") == nullptr,
                  "a reference left");
    }
    kqbClearConfigOptions("fuzz");
    return 0;
}
