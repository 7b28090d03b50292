// Attribute lists: the first byte is the separator, the rest the list.
#include <algorithm>
#include <cstring>

#include "fuzz/fuzz_support.h"
#include "kqb/kqbparse.h"

namespace {

bool isAscii(char const *text) {
    return std::all_of(text, text + std::strlen(text), [](char c) { return (c & 0x80) == 0; });
}

int pieces(char const *text, char separator) {
    int count = 0;
    for (char const *at = text; *at != '\0'; ++at) {
        bool const begins = at == text || at[-1] == separator;
        count += begins && *at != separator ? 1 : 0;
    }
    return count;
}

// Name, "=" and value are the piece again, but for the blanks about the name; of text that is not
// ASCII only the value is sure.
void checkAttribute(KqbParse &list, int index) {
    KqbString piece, name, value;
    fuzzCheck(list.getAttributeRaw(index, &piece), "piece");
    fuzzCheck(list.getAttribute(index, &name, &value), "attribute");
    char const *const begin = piece.asCstr();
    char const *const rest = begin + std::strlen(begin) - std::strlen(value.asCstr());
    fuzzCheck(std::strcmp(rest, value.asCstr()) == 0, "value ends the piece");
    bool const isSplit = rest > begin && rest[-1] == '=';
    fuzzCheck(isSplit || (name.isNull() && rest == begin), "a piece without \"=\" is all value");
    if (!isSplit || !isAscii(begin)) return;
    KqbString expected;
    expected.assign(begin, static_cast<int>(rest - 1 - begin));
    expected.trim();
    fuzzCheck(std::strcmp(expected.asCstr(), name.asCstr()) == 0, "name begins the piece");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const *data, std::size_t size) {
    fuzzBringUp();
    if (size == 0) return 0;
    char const separator = data[0] != 0 ? static_cast<char>(data[0]) : ';';
    std::string const text = fuzzText(data + 1, size - 1);
    KqbParse list;
    fuzzCheck(list.parse(text.c_str(), static_cast<char>(data[0])), "parse");
    fuzzCheck(list.getAttributeCount() == pieces(text.c_str(), separator), "count");
    for (int i = 0; i < list.getAttributeCount(); ++i) checkAttribute(list, i);
    KqbString piece;
    fuzzCheck(!list.getAttributeRaw(list.getAttributeCount(), &piece), "behind the end");
    return 0;
}
