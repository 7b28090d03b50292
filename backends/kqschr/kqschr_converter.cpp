// Streaming conversion. UTF-8 is validated and passed on here; all else goes through an ICU
// converter and UTF-16 units.
//
// Bytes are taken from the caller at once, even those that only begin a character: they are held
// until the rest comes. A caller may therefore drop every buffer that was answered with
// NP_CONV_OK. What turns out to be ill-formed only later is kept as the converter's invalid bytes.
#include <unicode/utf16.h>

#include <algorithm>
#include <new>
#include <string_view>

#include "backends/kqschr/kqschr_encodings.h"
#include "backends/kqschr/kqschr_kernels.h"
#include "backends/kqschr/kqschr_utf8.h"
#include "platform/kqschr.h"

using namespace kqschr;

namespace {

constexpr std::size_t kUnits = 256;
constexpr std::size_t kLongestInvalid = 32;
constexpr char32_t kReplacement = 0xfffd;

// The caller's buffers; at moves on.
struct Input {
    char const *&at;
    char const *const end;
    std::size_t left() const { return static_cast<std::size_t>(end - at); }
};

struct Output {
    char *&at;
    char *const end;
    std::size_t room() const { return static_cast<std::size_t>(end - at); }

    void put(char const *bytes, std::size_t size) {
        if (size != 0) std::memcpy(at, bytes, size);
        at += size;
    }
};

// A UTF-8 character, or the start of one.
struct Utf8Bytes {
    char bytes[4];
    unsigned size = 0;
};

}  // namespace

struct np_uchar_converter {
    IcuConverter icu;  // null for UTF-8

    // The last ill-formed or inconvertible sequence, wherever its bytes came from.
    char invalid[kLongestInvalid];
    unsigned invalidSize = 0;

    // UTF-8 on its way in: the start of a character whose rest has not come.
    Utf8Bytes held;

    // Decoded and not yet written; and whether an ill-formed sequence stands behind it, of which
    // stoppedSize bytes are at the start of the input.
    char16_t units[kUnits];
    std::size_t unitsAt = 0;
    std::size_t unitsEnd = 0;
    bool isStopped = false;
    std::size_t stoppedSize = 0;

    // To be encoded before all input; its bytes are taken from the caller.
    char16_t carried[2];
    std::size_t carriedSize = 0;

    void setInvalid(char const *bytes, std::size_t size) {
        invalidSize = static_cast<unsigned>(std::min(size, sizeof invalid));
        std::memcpy(invalid, bytes, invalidSize);
    }
};

namespace {

using Converter = np_uchar_converter;

// --- UTF-8 coming in --------------------------------------------------------------------------

// Completes the held character, which then comes out as whole if it has at most room bytes.
np_uchar_step resumeHeld(Converter &c, Input in, std::size_t room, bool last, Utf8Bytes &whole,
                         std::size_t *badSize) {
    Utf8Bytes tried = c.held;
    Utf8Span span = spanUtf8(tried.bytes, tried.size);
    for (char const *more = in.at; span.kind == Utf8Span::kCut && more != in.end; ++more) {
        tried.bytes[tried.size++] = *more;
        span = spanUtf8(tried.bytes, tried.size);
    }
    // The held bytes begin a character, so that at most the last byte does not belong to it.
    std::size_t const taken = span.size - c.held.size;
    if (span.kind == Utf8Span::kWhole) {
        if (span.size > room) return NP_CONV_FULL;
        whole = tried;
        c.held.size = 0;
    } else if (span.kind == Utf8Span::kCut && !last) {
        c.held = tried;
    } else {
        c.setInvalid(tried.bytes, span.size);
        c.held.size = 0;
        *badSize = taken;
        return NP_CONV_INVALID;
    }
    in.at += taken;
    return NP_CONV_OK;
}

// Answers what stands behind the well-formed input that was taken.
np_uchar_step stopOrHold(Converter &c, Input in, bool last, std::size_t *badSize) {
    if (in.left() == 0) return NP_CONV_OK;
    Utf8Span const span = spanUtf8(in.at, in.left());
    if (span.kind == Utf8Span::kWhole) return NP_CONV_FULL;
    if (span.kind == Utf8Span::kCut && !last) {
        std::memcpy(c.held.bytes, in.at, span.size);
        c.held.size = span.size;
        in.at = in.end;
        return NP_CONV_OK;
    }
    c.setInvalid(in.at, span.size);
    *badSize = span.size;
    return NP_CONV_INVALID;
}

np_uchar_step passUtf8(Converter &c, Input in, Output out, bool last, std::size_t *badSize) {
    if (c.held.size != 0) {
        Utf8Bytes whole;
        auto const step = resumeHeld(c, in, out.room(), last, whole, badSize);
        if (step != NP_CONV_OK) return step;
        out.put(whole.bytes, whole.size);
    }
    std::size_t const size = wellFormedPrefix(in.at, std::min(in.left(), out.room()));
    out.put(in.at, size);
    in.at += size;
    return stopOrHold(c, in, last, badSize);
}

// --- Decoding ---------------------------------------------------------------------------------

bool isInvalid(UErrorCode error) {
    switch (error) {
        case U_INVALID_CHAR_FOUND:
        case U_TRUNCATED_CHAR_FOUND:
        case U_ILLEGAL_CHAR_FOUND:
        case U_ILLEGAL_ESCAPE_SEQUENCE:
        case U_UNSUPPORTED_ESCAPE_SEQUENCE:
            return true;
        default:
            return false;
    }
}

// Writes the decoded units; false when out is full. A surrogate at the end waits for its partner
// unless nothing can follow. A few encodings let lone surrogates through: they are replaced.
bool writeUnits(Converter &c, Output out, bool nothingFollows) {
    while (c.unitsAt != c.unitsEnd) {
        char32_t codePoint = c.units[c.unitsAt];
        std::size_t used = 1;
        if (U16_IS_LEAD(codePoint) && c.unitsAt + 1 == c.unitsEnd && !nothingFollows) return true;
        if (U16_IS_LEAD(codePoint) && c.unitsAt + 1 != c.unitsEnd &&
            U16_IS_TRAIL(c.units[c.unitsAt + 1])) {
            codePoint =
                static_cast<char32_t>(U16_GET_SUPPLEMENTARY(codePoint, c.units[c.unitsAt + 1]));
            used = 2;
        } else if (U16_IS_SURROGATE(codePoint)) {
            codePoint = kReplacement;
        }
        if (out.room() < encodedSize(codePoint)) return false;
        out.at += encodeUtf8(codePoint, out.at);
        c.unitsAt += used;
    }
    return true;
}

// Notes the sequence at which decoding stopped and puts its bytes back to the input, as far as
// they are there: they may have come earlier, and ICU may have taken more to tell that they are
// ill-formed.
void stopDecoding(Converter &c, char const *start, Input in) {
    auto size = static_cast<int8_t>(sizeof c.invalid);
    UErrorCode error = U_ZERO_ERROR;
    kqicu::functions()->converterGetInvalidChars(c.icu.get(), c.invalid, &size, &error);
    c.invalidSize = U_SUCCESS(error) ? static_cast<unsigned>(size) : 0;
    std::string_view const invalid(c.invalid, c.invalidSize);
    std::string_view const taken(start, static_cast<std::size_t>(in.at - start));
    std::size_t count = std::min(invalid.size(), taken.size());
    while (!taken.ends_with(invalid.substr(invalid.size() - count))) --count;
    c.stoppedSize = count;
    in.at -= count;
    c.isStopped = true;
}

// Decodes input into the units. NP_CONV_OK when all is taken, NP_CONV_FULL when there is more.
np_uchar_step decodeUnits(Converter &c, Input in, bool last) {
    char const *const start = in.at;
    std::copy(c.units + c.unitsAt, c.units + c.unitsEnd, c.units);
    char16_t *target = c.units + (c.unitsEnd - c.unitsAt);
    UErrorCode error = U_ZERO_ERROR;
    kqicu::functions()->converterToUnicode(c.icu.get(), &target, c.units + kUnits, &in.at, in.end,
                                           nullptr, last, &error);
    c.unitsAt = 0;
    c.unitsEnd = static_cast<std::size_t>(target - c.units);
    if (U_SUCCESS(error)) return NP_CONV_OK;
    if (error == U_BUFFER_OVERFLOW_ERROR) return NP_CONV_FULL;
    if (!isInvalid(error)) return NP_CONV_FAILED;
    stopDecoding(c, start, in);
    return NP_CONV_FULL;
}

np_uchar_step decodeByIcu(Converter &c, Input in, Output out, bool last, std::size_t *badSize) {
    bool isTaken = false;
    for (;;) {
        if (!writeUnits(c, out, c.isStopped || (isTaken && last))) return NP_CONV_FULL;
        if (c.isStopped) {
            c.isStopped = false;
            *badSize = c.stoppedSize;
            return NP_CONV_INVALID;
        }
        if (isTaken) return NP_CONV_OK;
        auto const step = decodeUnits(c, in, last);
        if (step == NP_CONV_FAILED) return step;
        isTaken = step == NP_CONV_OK;
    }
}

// --- Encoding ---------------------------------------------------------------------------------

// Units of a piece of the input.
struct Piece {
    char16_t units[kUnits];
    std::size_t size = 0;

    bool add(char32_t codePoint) {
        if (size + U16_LENGTH(codePoint) > kUnits) return false;
        U16_APPEND_UNSAFE(units, size, codePoint);
        return true;
    }

    // Takes the well-formed characters at the start of the input. Returns their bytes.
    std::size_t fill(Input const &in) {
        std::size_t bytes = 0;
        while (bytes != in.left()) {
            char32_t codePoint;
            unsigned const count = decodeUtf8(in.at + bytes, in.left() - bytes, codePoint);
            if (count == 0 || !add(codePoint)) break;
            bytes += count;
        }
        return bytes;
    }

    // The input bytes of the first count units. Half a character counts as all of it.
    std::size_t bytesOf(std::size_t count) const {
        std::size_t bytes = 0;
        for (std::size_t i = 0; i < count; ++i) {
            if (U16_IS_LEAD(units[i])) bytes += 4;
            if (!U16_IS_SURROGATE(units[i])) bytes += encodedSize(units[i]);
        }
        return bytes;
    }
};

// Encodes units; consumed tells how many. Characters held by ICU are written first.
np_uchar_step encodeUnits(Converter &c, char16_t const *units, std::size_t size, Output out,
                          bool flush, std::size_t &consumed) {
    char16_t const *source = units;
    UErrorCode error = U_ZERO_ERROR;
    kqicu::functions()->converterFromUnicode(c.icu.get(), &out.at, out.end, &source, units + size,
                                             nullptr, flush, &error);
    consumed = static_cast<std::size_t>(source - units);
    if (U_SUCCESS(error)) return NP_CONV_OK;
    if (error == U_BUFFER_OVERFLOW_ERROR) return NP_CONV_FULL;
    return isInvalid(error) ? NP_CONV_INVALID : NP_CONV_FAILED;
}

// Notes the character that the encoding does not have.
void noteInconvertible(Converter &c) {
    char16_t units[kLongestInvalid];
    auto count = static_cast<int8_t>(kLongestInvalid);
    UErrorCode error = U_ZERO_ERROR;
    kqicu::functions()->converterGetInvalidUChars(c.icu.get(), units, &count, &error);
    c.invalidSize = 0;
    for (int i = 0; U_SUCCESS(error) && i < count && c.invalidSize + 4 <= kLongestInvalid;) {
        char32_t codePoint;
        U16_NEXT(units, i, count, codePoint);
        c.invalidSize += encodeUtf8(codePoint, c.invalid + c.invalidSize);
    }
}

np_uchar_step encodeCarried(Converter &c, Output out, std::size_t *badSize) {
    std::size_t consumed = 0;
    auto const step = encodeUnits(c, c.carried, c.carriedSize, out, false, consumed);
    std::copy(c.carried + consumed, c.carried + c.carriedSize, c.carried);
    c.carriedSize -= consumed;
    if (step == NP_CONV_INVALID) {
        noteInconvertible(c);
        *badSize = 0;
    }
    return step;
}

// Encodes a piece of the input and moves behind what is done of it.
np_uchar_step encodePiece(Converter &c, Input in, Output out, bool last, std::size_t *badSize) {
    Piece piece;
    std::size_t const bytes = piece.fill(in);
    bool const flush = last && bytes == in.left();
    std::size_t consumed = 0;
    auto const step = encodeUnits(c, piece.units, piece.size, out, flush, consumed);
    std::size_t const done = piece.bytesOf(consumed);
    in.at += done;
    if (step == NP_CONV_INVALID) {
        noteInconvertible(c);
        *badSize = std::min<std::size_t>(c.invalidSize, done);
        in.at -= *badSize;
    } else if (consumed != piece.size && U16_IS_TRAIL(piece.units[consumed])) {
        c.carried[0] = piece.units[consumed];
        c.carriedSize = 1;
    }
    return step;
}

np_uchar_step takeHeld(Converter &c, Input in, bool last, std::size_t *badSize) {
    Utf8Bytes whole;
    auto const step = resumeHeld(c, in, sizeof whole.bytes, last, whole, badSize);
    if (whole.size == 0) return step;
    char32_t codePoint = 0;
    decodeUtf8(whole.bytes, whole.size, codePoint);
    U16_APPEND_UNSAFE(c.carried, c.carriedSize, codePoint);
    return step;
}

np_uchar_step encodeByIcu(Converter &c, Input in, Output out, bool last, std::size_t *badSize) {
    np_uchar_step step = NP_CONV_OK;
    if (c.carriedSize != 0) step = encodeCarried(c, out, badSize);
    if (step == NP_CONV_OK && c.held.size != 0) {
        step = takeHeld(c, in, last, badSize);
        if (step == NP_CONV_OK && c.carriedSize != 0) step = encodeCarried(c, out, badSize);
    }
    while (step == NP_CONV_OK) {
        step = encodePiece(c, in, out, last, badSize);
        if (step != NP_CONV_OK) break;
        step = stopOrHold(c, in, last, badSize);
        if (step != NP_CONV_FULL) break;
        step = NP_CONV_OK;
    }
    return step;
}

}  // namespace

np_uchar_converter *np_uchar_converter_open(int encoding) {
    IcuConverter icu;
    if (!isUtf8(encoding)) {
        icu = openIcuConverter(encoding);
        if (!icu) return nullptr;
    }
    auto *const converter = new (std::nothrow) np_uchar_converter;
    if (converter) converter->icu = std::move(icu);
    return converter;
}

void np_uchar_converter_close(np_uchar_converter *converter) { delete converter; }

np_uchar_step np_uchar_decode(np_uchar_converter *converter, char const **in, char const *inEnd,
                              char **out, char *outEnd, bool last, std::size_t *badSize) {
    Input const input{*in, inEnd};
    Output const output{*out, outEnd};
    return converter->icu ? decodeByIcu(*converter, input, output, last, badSize)
                          : passUtf8(*converter, input, output, last, badSize);
}

np_uchar_step np_uchar_encode_stream(np_uchar_converter *converter, char const **in,
                                     char const *inEnd, char **out, char *outEnd, bool last,
                                     std::size_t *badSize) {
    Input const input{*in, inEnd};
    Output const output{*out, outEnd};
    return converter->icu ? encodeByIcu(*converter, input, output, last, badSize)
                          : passUtf8(*converter, input, output, last, badSize);
}

unsigned np_uchar_converter_invalid(np_uchar_converter const *converter, char const **bytes) {
    *bytes = converter->invalid;
    return converter->invalidSize;
}
