// Escaping, by special characters that come first in the input, and unescaping: both agree with
// plain loops, and unescaping gives back what was escaped.
#include <cctype>

#include "fuzz/fuzz_support.h"
#include "kqb/kquri.h"
#include "platform/kqschr.h"

namespace {

std::string escapedByLoop(std::string const &text, std::string const &specials) {
    std::string result;
    for (char const byte : text) {
        bool const isPlain = (byte & 0x80) == 0 && specials.find(byte) == std::string::npos;
        char escape[4];
        std::snprintf(escape, sizeof escape, "%%%02X", static_cast<unsigned char>(byte));
        result += isPlain ? std::string(1, byte) : escape;
    }
    return result;
}

std::string unescapedByLoop(std::string const &text) {
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        bool const isEscape = text[at] == '%' && text.size() - at > 2;
        std::string const piece = text.substr(at, isEscape ? 3 : 1);
        bool const isByte = isEscape && std::isxdigit(static_cast<unsigned char>(piece[1])) &&
                            std::isxdigit(static_cast<unsigned char>(piece[2]));
        auto const byte =
            isByte ? static_cast<char>(std::stoi(piece.substr(1), nullptr, 16)) : '\0';
        result += !isByte ? piece : byte != '\0' ? std::string(1, byte) : "";
        at += piece.size();
    }
    return result;
}

void checkEscape(std::string const &text, std::string specials) {
    KqbString const string(text.c_str());
    KqbString out, error, back;
    bool const done = getEscapeStringForURI(string, specials.data(),
                                            static_cast<__int64>(specials.size()), &out, &error);
    fuzzCheck(error.isNull(), "escape without memory");
    if (!np_uchar_valid_n(text.data(), text.size())) return;
    fuzzCheck(done, "well-formed text escapes");
    fuzzCheck(out.asCstr() == escapedByLoop(text, specials), "escape");
    fuzzCheck(getUnEscapeStringFromURI(out, &back), "unescape");
    bool const isCarried =
        text.find('%') == std::string::npos || specials.find('%') != specials.npos;
    fuzzCheck(!isCarried || back.asCstr() == text, "unescape after escape");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const *data, std::size_t size) {
    fuzzBringUp();
    std::string const input = fuzzText(data, size);
    std::size_t const count = input.empty() ? 0 : static_cast<unsigned char>(input[0]) % 8;
    std::string const specials = input.substr(0, count);
    std::string const text = input.substr(std::min(count, input.size())).c_str();
    checkEscape(text, specials);
    KqbString out;
    fuzzCheck(getUnEscapeStringFromURI(text.c_str(), &out), "unescape");
    fuzzCheck(out.asCstr() == unescapedByLoop(text), "unescape");
    for (auto *convert : {convertBackSlashesToSlashes, convertSlashesToBackSlashes}) {
        fuzzCheck(convert(text.c_str(), &out) == !text.empty(), "slashes");
    }
    return 0;
}
