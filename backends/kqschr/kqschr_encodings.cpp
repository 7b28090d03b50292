#include "backends/kqschr/kqschr_encodings.h"

#include <bit>
#include <cstring>
#include <mutex>

#include "backends/kqschr/kqschr_bounded_output.h"
#include "platform/kqschr.h"

namespace kqschr {
namespace {

constexpr bool kIsLittle = std::endian::native == std::endian::little;

// The encodings whose numbers are fixed, by the names ICU calls them; the first of two equal
// numbers or names counts.
struct FixedEncoding {
    int number;
    char const *name;
};
constexpr FixedEncoding kFixed[] = {
    {NP_ENC_UTF8, "UTF-8"},
    {NP_ENC_UTF8, "US-ASCII"},
    {NP_ENC_UTF8, "ANSI_X3.4-1968"},  // what the C locale calls it
    {NP_ENC_UTF16LE, "UTF-16LE"},
    {NP_ENC_UTF16BE, "UTF-16BE"},
    {NP_ENC_UTF32LE, "UTF-32LE"},
    {NP_ENC_UTF32BE, "UTF-32BE"},
    {NP_ENC_WIDE, kIsLittle ? "UTF-16LE" : "UTF-16BE"},
};

constexpr int kFirstGiven = 32;
constexpr int kMaxGiven = 512;

// The encodings given out, by ICU's canonical names. There are as many as ICU has converters, a
// few hundred.
struct Registry {
    std::mutex mutex;
    int count = 0;
    char names[kMaxGiven][UCNV_MAX_CONVERTER_NAME_LENGTH] = {};

    // The number of a name, given now if it has none; NP_ENC_UNKNOWN when there are too many.
    int give(char const *name) {
        std::lock_guard const guard(mutex);
        for (int i = 0; i < count; ++i) {
            if (std::strcmp(names[i], name) == 0) return kFirstGiven + i;
        }
        if (count == kMaxGiven) return NP_ENC_UNKNOWN;
        std::strcpy(names[count], name);
        return kFirstGiven + count++;
    }

    // A name once given stays as it is.
    char const *find(int number) {
        std::lock_guard const guard(mutex);
        int const index = number - kFirstGiven;
        return index >= 0 && index < count ? names[index] : nullptr;
    }
};
constinit Registry registry;

bool isNameCharacter(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// The next letter or digit of a name, letters in one case; 0 at the end.
int nextOfName(char const *&at) {
    while (*at != '\0' && !isNameCharacter(*at)) ++at;
    return *at == '\0' ? 0 : *at++ | 0x20;
}

// Without regard to case and punctuation, as names of encodings are compared.
bool isSameName(char const *a, char const *b) {
    for (;;) {
        int const ofA = nextOfName(a);
        if (ofA != nextOfName(b)) return false;
        if (ofA == 0) return true;
    }
}

int fixedNumber(char const *name) {
    for (auto const &fixed : kFixed) {
        if (isSameName(fixed.name, name)) return fixed.number;
    }
    return NP_ENC_UNKNOWN;
}

char const *nameOf(int encoding) {
    for (auto const &fixed : kFixed) {
        if (fixed.number == encoding) return fixed.name;
    }
    return registry.find(encoding);
}

// ICU's own callback for this leaves out some characters without a word.
void stopAtCharacter(void const *, UConverterFromUnicodeArgs *, UChar const *, int32_t, UChar32,
                     UConverterCallbackReason, UErrorCode *) {}

void stopAtBytes(void const *, UConverterToUnicodeArgs *, char const *, int32_t,
                 UConverterCallbackReason, UErrorCode *) {}

IcuConverter openByName(char const *name) {
    auto const *const icu = kqicu::functions();
    if (icu == nullptr) return nullptr;
    UErrorCode error = U_ZERO_ERROR;
    IcuConverter converter(icu->converterOpen(name, &error));
    if (U_FAILURE(error)) return nullptr;
    icu->converterSetFromUCallBack(converter.get(), stopAtCharacter, nullptr, nullptr, nullptr,
                                   &error);
    icu->converterSetToUCallBack(converter.get(), stopAtBytes, nullptr, nullptr, nullptr, &error);
    return U_SUCCESS(error) ? std::move(converter) : nullptr;
}

// Appends what the converter makes of the input; false when it cannot go on.
bool decodeAll(np_uchar_converter *converter, char const *in, char const *inEnd,
               BoundedOutput &output) {
    for (;;) {
        char buffer[1024];
        char *out = buffer;
        std::size_t badSize = 0;
        auto const step =
            np_uchar_decode(converter, &in, inEnd, &out, buffer + sizeof buffer, true, &badSize);
        output.append(buffer, static_cast<std::size_t>(out - buffer));
        if (step == NP_CONV_OK) return true;
        if (step == NP_CONV_FAILED) return false;
        if (step == NP_CONV_INVALID) output.append("\xef\xbf\xbd", 3);
        in += badSize;
    }
}

}  // namespace

bool isUtf8(int encoding) { return encoding == NP_ENC_UTF8 || encoding == NP_ENC_NARROW; }

IcuConverter openIcuConverter(int encoding) {
    char const *const name = nameOf(encoding);
    return name ? openByName(name) : nullptr;
}

}  // namespace kqschr

using namespace kqschr;

int np_uchar_getenc(char const *name) {
    if (!name || *name == '\0') return NP_ENC_UNKNOWN;
    if (int const number = fixedNumber(name)) return number;
    auto const *const icu = kqicu::functions();
    if (icu == nullptr) return NP_ENC_UNKNOWN;
    UErrorCode error = U_ZERO_ERROR;
    char const *const canonical = icu->converterGetAlias(name, 0, &error);
    if (U_FAILURE(error) || !canonical) return NP_ENC_UNKNOWN;
    if (int const number = fixedNumber(canonical)) return number;
    if (std::strlen(canonical) >= UCNV_MAX_CONVERTER_NAME_LENGTH) return NP_ENC_UNKNOWN;
    return openByName(canonical) ? registry.give(canonical) : NP_ENC_UNKNOWN;
}

long np_uchar_encode(int encoding, char const *in, std::size_t sizeIn, char *out,
                     std::size_t sizeOut) {
    if (!in) in = "", sizeIn = 0;
    BoundedOutput output(out, sizeOut);
    bool done = isUtf8(encoding);
    if (done) {
        output.append(in, sizeIn);
    } else if (np_uchar_converter *const converter = np_uchar_converter_open(encoding)) {
        done = decodeAll(converter, in, in + sizeIn, output);
        np_uchar_converter_close(converter);
    }
    auto const size = static_cast<long>(output.finish());
    return done ? size : -1;
}
