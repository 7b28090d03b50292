// Percent-escapes. Most text has none and needs none, so it is taken in runs.
#include "uri/kquriescape_internal.h"

#include <array>

#include "kqb/kqbmodules.h"
#include "kqb/kquri.h"
#include "platform/kqschr.h"
#include "uri/kquriresult_internal.h"

namespace {

using std::string_view;

constexpr char kNoOutput[] = "The output variable is not allocated or defined to be used.";
constexpr std::size_t kEscapeSize = 3;

using Escape = std::array<char, kEscapeSize>;

// The escape of every byte.
constexpr auto kEscapes = [] {
    constexpr char digits[] = "0123456789ABCDEF";
    std::array<Escape, 256> escapes{};
    for (unsigned byte = 0; byte < escapes.size(); ++byte) {
        escapes[byte] = {'%', digits[byte / 16], digits[byte % 16]};
    }
    return escapes;
}();

constexpr unsigned char kNoDigit = 0xFF;

// The value of every hexadecimal digit.
constexpr auto kDigits = [] {
    std::array<unsigned char, 256> values{};
    values.fill(kNoDigit);
    for (unsigned char i = 0; i < 10; ++i) values[static_cast<unsigned char>('0' + i)] = i;
    for (unsigned char i = 10; i < 16; ++i) {
        values[static_cast<unsigned char>('A' + i - 10)] = i;
        values[static_cast<unsigned char>('a' + i - 10)] = i;
    }
    return values;
}();

unsigned digitOf(char byte) { return kDigits[static_cast<unsigned char>(byte)]; }

void addEscape(KqURIText &out, char byte) {
    out.add(string_view(kEscapes[static_cast<unsigned char>(byte)].data(), kEscapeSize));
}

// Bytes of the character at the start of a text; 0 when it is ill-formed.
std::size_t characterSize(string_view text) {
    if (np_uchar_isascii(text.data())) return 1;
    int codePoint = 0;
    return static_cast<std::size_t>(np_uchar_toint_n(text.data(), text.size(), &codePoint));
}

// Bytes at the start of a text that are not escaped.
std::size_t plainSize(string_view text, KqURIEscapes const &escapes) {
    std::size_t size = 0;
    while (size < text.size() && !escapes.contains(text[size])) ++size;
    return size;
}

// What the three bytes of an escape, or of what looks like one, stand for.
void addDecoded(KqURIText &out, string_view escape) {
    unsigned const high = digitOf(escape[1]);
    unsigned const low = digitOf(escape[2]);
    if (high == kNoDigit || low == kNoDigit) {
        out.add(escape);
    } else if (unsigned const byte = high * 16 + low) {
        out.add(static_cast<char>(byte));
    }
}

KqURIEscapes escapesOf(char const *specials, __int64 count) {
    if (specials == nullptr || count <= 0) return kKqURIMultiByteOnly;
    return KqURIEscapes(string_view(specials, static_cast<std::size_t>(count)));
}

}  // namespace

std::size_t kqbAddEscaped(KqURIText &out, string_view text, KqURIEscapes const &escapes) {
    std::size_t at = 0;
    for (;;) {
        std::size_t const plain = plainSize(text.substr(at), escapes);
        out.add(text.substr(at, plain));
        at += plain;
        if (at == text.size()) return at;
        std::size_t const size = characterSize(text.substr(at));
        if (size == 0) return at;
        for (char const byte : text.substr(at, size)) addEscape(out, byte);
        at += size;
    }
}

void kqbAddComponent(KqURIText &out, string_view component, KqURIEscapes const &escapes) {
    if (np_uchar_valid_n(component.data(), component.size())) {
        kqbAddEscaped(out, component, escapes);
        return;
    }
    KqURIText escaped;
    std::size_t const walked = kqbAddEscaped(escaped, component, escapes);
    bool const succeeded = walked >= np_uchar_length_n(component.data(), component.size());
    out.add(succeeded ? escaped.view() : component);
}

void kqbAddComponent(KqURIText &out, KqbString const &component, KqURIEscapes const &escapes) {
    kqbAddComponent(out, KqbStringAccess::view(component), escapes);
}

void kqbAddUnescaped(KqURIText &out, string_view text) {
    std::size_t at = 0;
    for (;;) {
        std::size_t const percent = text.find('%', at);
        if (percent == string_view::npos || text.size() - percent < kEscapeSize) break;
        out.add(text.substr(at, percent - at));
        addDecoded(out, text.substr(percent, kEscapeSize));
        at = percent + kEscapeSize;
    }
    out.add(text.substr(at));
}

KqbString kqbUnescaped(string_view text) {
    if (text.find('%') == string_view::npos) return kqbStringOf(text);
    KqURIText out;
    kqbAddUnescaped(out, text);
    return out.take();
}

KqbString kqbUnescaped(KqbString const &text) {
    string_view const bytes = KqbStringAccess::view(text);
    if (!bytes.empty() && bytes.find('%') == string_view::npos) return text;
    return kqbUnescaped(bytes);
}

bool getEscapeStringForURI(KqbString const &text, char *specials, __int64 specialCount,
                           KqbString *out, KqbString *error) {
    if (error != nullptr) error->setNull();
    if (out == nullptr) return kqbRefuse(error, kNoOutput);
    string_view const bytes = KqbStringAccess::view(text);
    bool succeeded = true;
    bool const done = kqbWithMemory([&] {
        KqURIText escaped;
        std::size_t const walked = kqbAddEscaped(escaped, bytes, escapesOf(specials, specialCount));
        succeeded = walked >= text.length();
        if (bytes.empty()) {
            *out = KqbString("", true);
        } else if (!KqbStringAccess::append(*out, escaped.view())) {
            throw std::bad_alloc();
        }
    });
    return done ? succeeded : kqbRefuse(error, kKqbOutOfMemory);
}

bool getUnEscapeStringFromURI(KqbString const &text, KqbString *out) {
    if (out == nullptr) return false;
    KqbString const source = text;
    out->setNull();
    return kqbWithMemory([&] { *out = kqbUnescaped(source); });
}
