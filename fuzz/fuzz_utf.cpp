// Conversion between UTF-8 and UTF-16, and the character functions on text of any kind.
#include <cstring>

#include "fuzz/fuzz_support.h"
#include "kqb/kqbunicodeconv.h"
#include "platform/kqschr.h"

namespace {

void checkUtf8(std::string const &text) {
    KqUtf8ToUC converter;
    fuzzCheck(converter.set(text.c_str()), "set");
    bool const valid = np_uchar_valid_n(text.data(), text.size());
    fuzzCheck(valid == (converter.bufLength() > 0), "exactly well-formed text converts");
    KqbString back;
    if (valid) {
        back.fromUCS2(converter.ucString());
        fuzzCheck(text == back.asCstr(), "there and back");
    }
    converter.set(nullptr);
}

void checkUtf16(std::string const &bytes) {
    KqUCToUtf8 converter;
    int const units = static_cast<int>(bytes.size() / 2);
    fuzzCheck(converter.set(units), "room");
    if (units > 0)
        std::memcpy(converter.getUCBuffer(), bytes.data(), static_cast<std::size_t>(units) * 2);
    converter.utf8String();
    converter.set(0);
}

void checkCharacters(std::string const &text) {
    KqbString string(text.c_str());
    fuzzCheck(string.length() == np_uchar_length(text.c_str()), "length");
    KqbString lower(string);
    lower.lowercase();
    KqbString upper(string);
    upper.uppercase();
    fuzzCheck(lower.length() == np_uchar_length(lower.asCstr()), "length of the mapped text");
    fuzzCheck(string.compare(string, false) == 0, "equal to itself");
    fuzzCheck(lower.compare(upper, false) == -upper.compare(lower, false), "order both ways");
    KqbString trimmed(string);
    fuzzCheck(trimmed.trim(true, true) + static_cast<int>(trimmed.length()) ==
                  static_cast<int>(string.length()),
              "trim");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const *data, std::size_t size) {
    fuzzBringUp();
    std::string const bytes = fuzzText(data, size);
    checkUtf16(bytes);
    std::string const text = bytes.c_str();
    checkUtf8(text);
    checkCharacters(text);
    return 0;
}
