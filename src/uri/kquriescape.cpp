// Percent-escapes. Most text has none and needs none, so it is taken in runs.
#include "uri/kquriescape_internal.h"

#include <array>
#include <cstring>

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

char *writeEscape(char *to, char byte) {
    std::memcpy(to, kEscapes[static_cast<unsigned char>(byte)].data(), kEscapeSize);
    return to + kEscapeSize;
}

// Bytes of the character at the start of a text; 0 when it is ill-formed.
std::size_t characterSize(string_view text) {
    if (np_uchar_isascii(text.data())) return 1;
    int codePoint = 0;
    return static_cast<std::size_t>(np_uchar_toint_n(text.data(), text.size(), &codePoint));
}

// Writes what the three bytes of an escape, or of what looks like one, stand for.
char *writeDecoded(char *to, char const *escape) {
    unsigned const high = digitOf(escape[1]);
    unsigned const low = digitOf(escape[2]);
    if (high == kNoDigit || low == kNoDigit) {
        std::memcpy(to, escape, kEscapeSize);
        return to + kEscapeSize;
    }
    *to = static_cast<char>(high * 16 + low);
    return *to == '\0' ? to : to + 1;
}

// Unescapes text from at on, as far as there is room up to last and a block behind it.
char *decodeSome(string_view text, std::size_t &at, char *to, char const *last) {
    auto const isPercent = [](KqURIBlock const &block) {
        constexpr unsigned char kPercent = '%';
        return kqbMarks(block == kPercent);
    };
    while (at < text.size() && to <= last) {
        std::size_t const left = text.size() - at;
        if (text[at] == '%' && left >= kEscapeSize) {
            to = writeDecoded(to, text.data() + at);
            at += kEscapeSize;
        } else if (left >= kKqURIBlock) {
            std::size_t const run = kqbCopyUnmarked(to, text.data() + at, isPercent);
            to += run;
            at += run;
        } else {
            *to++ = text[at++];
        }
    }
    return to;
}

// Copies what is not escaped from at on: what there is of it in a block, or a byte.
char *copyPlain(string_view text, std::size_t &at, char *to, KqURIEscapes const &escapes) {
    auto const marks = [&escapes](KqURIBlock const &block) { return escapes.marks(block); };
    bool const hasBlock = text.size() - at >= kKqURIBlock;
    std::size_t const run = hasBlock ? kqbCopyUnmarked(to, text.data() + at, marks) : 1;
    if (!hasBlock) *to = text[at];
    at += run;
    return to + run;
}

// Escapes text from at on, as far as there is room up to last and a block behind it. Stops, at
// unmoved, at an ill-formed byte.
char *escapeSome(string_view text, std::size_t &at, char *to, char const *last,
                 KqURIEscapes const &escapes) {
    while (at < text.size() && to <= last) {
        if (!escapes.contains(text[at])) {
            to = copyPlain(text, at, to, escapes);
            continue;
        }
        std::size_t const size = characterSize(text.substr(at));
        if (size == 0) break;
        for (char const byte : text.substr(at, size)) to = writeEscape(to, byte);
        at += size;
    }
    return to;
}

KqURIEscapes escapesOf(char const *specials, __int64 count) {
    if (specials == nullptr || count <= 0) return kKqURIMultiByteOnly;
    return KqURIEscapes(string_view(specials, static_cast<std::size_t>(count)));
}

}  // namespace

std::size_t kqbAddEscaped(KqURIText &out, string_view text, KqURIEscapes const &escapes) {
    static_assert(kKqURIBlock >= 4 * kEscapeSize, "room for the escapes of any character");
    std::size_t at = 0;
    for (std::size_t before = ~at; at != before && at < text.size();) {
        before = at;
        char *const to = out.place(kKqURIBlock);
        out.wrote(escapeSome(text, at, to, out.limit() - kKqURIBlock, escapes));
    }
    return at;
}

void kqbAddComponent(KqURIText &out, string_view component, KqURIEscapes const &escapes) {
    auto const marks = [&escapes](KqURIBlock const &block) { return escapes.marks(block); };
    if (component.size() < kKqURIBlock) {
        char *const to = out.place(kKqURIBlock);
        if (kqbCopyShort(to, component, marks)) return out.wrote(to + component.size());
    } else if (kqbIsUnmarked(component, marks)) {
        out.add(component);
        return;
    }
    if (np_uchar_valid_n(component.data(), component.size())) {
        kqbAddEscaped(out, component, escapes);
    } else {
        out.add(component);
    }
}

void kqbAddComponent(KqURIText &out, KqbString const &component, KqURIEscapes const &escapes) {
    kqbAddComponent(out, KqbStringAccess::view(component), escapes);
}

KqbString kqbDecoded(string_view text) {
    KqURIText out;
    for (std::size_t at = 0; at < text.size();) {
        char *const to = out.place(kKqURIBlock);
        out.wrote(decodeSome(text, at, to, out.limit() - kKqURIBlock));
    }
    return out.take();
}

KqbString kqbUnescaped(string_view text) {
    return text.find('%') == string_view::npos ? kqbStringOf(text) : kqbDecoded(text);
}

KqbString kqbUnescaped(KqbString const &text) {
    string_view const bytes = KqbStringAccess::view(text);
    if (bytes.empty()) return KqbString("", true);
    return bytes.find('%') == string_view::npos ? text : kqbDecoded(bytes);
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
    KqbString result;
    bool const done = kqbWithMemory([&] { result = kqbUnescaped(text); });
    *out = static_cast<KqbString &&>(result);
    return done;
}
