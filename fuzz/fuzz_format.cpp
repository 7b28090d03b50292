// Formats with arguments of every kind, right and wrong.
#include "fuzz/fuzz_support.h"
#include "kqb/kqbstringformat.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const *data, std::size_t size) {
    fuzzBringUp();
    std::string const format = fuzzText(data, size).c_str();
    KqbString const string("a string");
    KqbString const text = kqbStringFormat(format.c_str(), 1, "text", string, -2LL, 3.5, 4UL);
    fuzzCheck(text.isNull() == format.empty(), "null exactly for an empty format");
    KqbString const bare = kqbStringFormat(format.c_str());
    KqbString const again = kqbStringFormat("%S%%", bare);
    fuzzCheck(again.cStrSize() == bare.cStrSize() + 1, "a string and a percent sign");
    return 0;
}
