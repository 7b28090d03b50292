// Lower and upper case: ASCII by blocks, the rest by pages of simple mappings.
#include <algorithm>
#include <string_view>

#include "backends/kqicu/kqicu_functions.h"
#include "backends/kqschr/kqschr_bounded_output.h"
#include "backends/kqschr/kqschr_case_pages.h"
#include "backends/kqschr/kqschr_kernels.h"
#include "backends/kqschr/kqschr_utf8.h"
#include "platform/kqschr.h"

using namespace kqschr;

namespace {

constexpr std::ptrdiff_t kLongestMapping = 12;
constexpr std::string_view kCapitalSigma = "\xce\xa3";
constexpr Unit kFinalSigma = 0x82cf;  // the bytes CF 82

// --- The one mapping that looks around --------------------------------------------------------

// Sigmas stand among Greek letters, which are told without asking ICU.
bool isGreekLetter(char32_t c) { return c - 0x391 < 62 && c != 0x3a2; }

bool hasProperty(char32_t c, UProperty property) {
    auto const *const icu = kqicu::functions();
    return icu != nullptr && icu->hasBinaryProperty(static_cast<UChar32>(c), property);
}

bool isIgnorable(char32_t c) { return !isGreekLetter(c) && hasProperty(c, UCHAR_CASE_IGNORABLE); }

bool isCased(char32_t c) { return isGreekLetter(c) || hasProperty(c, UCHAR_CASED); }

// Decodes the character that ends at the given place. Returns its bytes, or 0 when there is none.
unsigned decodeBefore(char const *text, std::size_t end, char32_t &codePoint) {
    for (unsigned size = 1; size <= 4 && size <= end; ++size) {
        char const *const start = text + end - size;
        if (!isLead(*start)) continue;
        return decodeUtf8(start, size, codePoint) == size ? size : 0;
    }
    return 0;
}

bool endsWithLetter(char const *text, std::size_t size) {
    char32_t codePoint = 0;
    while (unsigned const bytes = decodeBefore(text, size, codePoint)) {
        if (!isIgnorable(codePoint)) return isCased(codePoint);
        size -= bytes;
    }
    return false;
}

bool beginsWithLetter(char const *text, std::size_t size) {
    char32_t codePoint = 0;
    while (size != 0) {
        unsigned const bytes = decodeUtf8(text, size, codePoint);
        if (bytes == 0) return false;
        if (!isIgnorable(codePoint)) return isCased(codePoint);
        text += bytes;
        size -= bytes;
    }
    return false;
}

// --- Mapping ----------------------------------------------------------------------------------

// Maps a text from its start to its end; Case is kLower or kUpper.
template <CaseKind Case>
class Mapper {
public:
    Mapper(char const *text, std::size_t size) : start_(text), at_(text), end_(text + size) {}

    std::size_t map(BoundedOutput output) {
        while (at_ != end_ && output.room() >= std::size_t{kLongestMapping}) {
            output.grow(mapSome(output.target(), output.room()));
        }
        while (at_ != end_ && !output.isClosed()) {
            char mapped[kLongestMapping];
            output.append(mapped, mapAlone(mapped));
        }
        output.measure(measure());
        return output.finish();
    }

private:
    static constexpr bool kUpper = Case == CaseKind::kUpper;

    std::size_t left() const { return static_cast<std::size_t>(end_ - at_); }

    std::size_t mapAlone(char *out) {
        char *to = out;
        mapOne(at_, to);
        return static_cast<std::size_t>(to - out);
    }

    // The size of the rest when it is mapped.
    std::size_t measure() {
        std::size_t size = plainPrefix(at_, left());
        at_ += size;
        char scratch[512];
        while (at_ != end_) size += mapSome(scratch, sizeof scratch);
        return size;
    }

    // Maps until the end or until out may have no room for one more. Returns the bytes written.
    std::size_t mapSome(char *out, std::size_t room) {
        char const *at = at_;
        char *to = out;
        char *const toEnd = out + room;
        while (at != end_ && toEnd - to >= kLongestMapping) {
            std::size_t const run = mapRun(at, std::min(end_ - at, toEnd - to), to);
            if (run == 0) mapOne(at, to);
            at += run;
            to += run;
        }
        at_ = at;
        return static_cast<std::size_t>(to - out);
    }

    // Maps characters of one sort that keep their size. Returns the bytes mapped, at most size.
    static std::size_t mapRun(char const *at, std::ptrdiff_t size, char *to) {
        if (size < static_cast<std::ptrdiff_t>(WordBlock::kSize)) return 0;
        unsigned const byte = byteAt(at, 0);
        if (byte >= 0xc2 && byte < 0xe0) return mapTwoByteRun(at, size, to);
        bool const isAscii = WordBlock::nonAscii(WordBlock::load(at)) == 0;
        if (!isAscii && !isPlainLead(byte)) return 0;
        return mapPlainPrefix<kUpper>(at, static_cast<std::size_t>(size), to);
    }

    static std::size_t mapTwoByteRun(char const *at, std::ptrdiff_t size, char *to) {
        TwoByteTable const *const table = twoByteTable(Case);
        if (!table) return 0;
        std::ptrdiff_t done = 0;
        for (; done + 2 <= size; done += 2) {
            Unit const bytes = loadTwoBytes(at + done);
            if (!TwoByteTable::isTwoBytes(bytes)) break;
            Unit const unit = table->at(bytes);
            if (!TwoByteTable::isTwoByteUnit(unit)) break;
            storeTwoBytes(unit, to + done);
        }
        return static_cast<std::size_t>(done);
    }

    // Maps one character, or copies a byte that is no character. Out has room for the longest.
    [[gnu::always_inline]] void mapOne(char const *&at, char *&to) const {
        unsigned const byte = byteAt(at, 0);
        if (byte < 0x80) {
            *to++ = static_cast<char>(kUpper ? ByteBlock::upper(byte) : ByteBlock::lower(byte));
            ++at;
            return;
        }
        CaseAnswer const answer = caseOf(Case, at, static_cast<std::size_t>(end_ - at));
        if (answer.size == 0) {
            *to++ = *at++;
            return;
        }
        if (isCharacter(answer.unit)) [[likely]] {
            storeUnit(answer.unit, to);
            to += unitSize(answer.unit);
        } else {
            to += writeExpansion(at, answer, to);
        }
        at += answer.size;
    }

    unsigned writeExpansion(char const *at, CaseAnswer answer, char *to) const {
        Expansion const expansion = expand(at, answer);
        unsigned written = 0;
        for (unsigned i = 0; i < expansion.count; ++i) {
            storeUnit(expansion.units[i], to + written);
            written += unitSize(expansion.units[i]);
        }
        return written;
    }

    // A capital sigma is final when a letter stands in front of it and none behind.
    Expansion expand(char const *at, CaseAnswer answer) const {
        std::string_view const character(at, answer.size);
        char const *const behind = at + answer.size;
        bool const isFinal = !kUpper && character == kCapitalSigma &&
                             !beginsWithLetter(behind, static_cast<std::size_t>(end_ - behind)) &&
                             endsWithLetter(start_, static_cast<std::size_t>(at - start_));
        return isFinal ? Expansion{1, {kFinalSigma}} : expandCase(Case, at, answer);
    }

    char const *const start_;
    char const *at_;
    char const *const end_;
};

template <CaseKind Case>
std::size_t mapText(char const *text, std::size_t size, char *out, long limit) {
    if (!text) text = "", size = 0;
    BoundedOutput const output(out, limit < 0 ? 0 : static_cast<std::size_t>(limit));
    return Mapper<Case>(text, size).map(output);
}

std::size_t sizeOf(char const *text) { return text ? std::strlen(text) : 0; }

}  // namespace

std::size_t np_uchar_lower(char const *text, char *out, long limit) {
    return mapText<CaseKind::kLower>(text, sizeOf(text), out, limit);
}

std::size_t np_uchar_upper(char const *text, char *out, long limit) {
    return mapText<CaseKind::kUpper>(text, sizeOf(text), out, limit);
}

std::size_t np_uchar_lower_n(char const *text, std::size_t size, char *out, long limit) {
    return mapText<CaseKind::kLower>(text, size, out, limit);
}

std::size_t np_uchar_upper_n(char const *text, std::size_t size, char *out, long limit) {
    return mapText<CaseKind::kUpper>(text, size, out, limit);
}
