#include "backends/decnumber/decnumber_digits.h"

#include <cstring>

namespace decnumber {
namespace {

constexpr Word power(int exponent) { return exponent == 0 ? 1 : 10 * power(exponent - 1); }

constexpr Word repeated(Word byte) { return byte * 0x0101010101010101; }

// Bytes in the order of the text, the first one lowest, whatever the machine's order.
Word load(void const *from) {
    Word word;
    std::memcpy(&word, from, sizeof word);
    if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap64(word);
    return word;
}

void store(Word word, void *to) {
    if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap64(word);
    std::memcpy(to, &word, sizeof word);
}

// --- Writing ----------------------------------------------------------------------------------

// 8 digits, one a byte: halves, then pairs, then digits, all of a kind at once.
Word spread8(Word value) {
    Word const high = value / 10000;
    Word const halves = high | (value - high * 10000) << 32;
    Word const hundreds = halves * 10486 >> 20 & 0x0000007f0000007f;
    Word const pairs = hundreds | (halves - hundreds * 100) << 16;
    Word const tens = pairs * 103 >> 10 & 0x000f000f000f000f;
    return tens | (pairs - tens * 10) << 8;
}

void write8(Word value, std::uint8_t zero, std::uint8_t *digits) {
    store(spread8(value) + repeated(zero), digits);
}

void write16(Word value, std::uint8_t zero, std::uint8_t *digits) {
    Word const high = value / power(8);
    write8(high, zero, digits);
    write8(value - high * power(8), zero, digits + 8);
}

void write18(Word value, std::uint8_t zero, std::uint8_t *digits) {
    Word const high = value / power(16);
    digits[0] = static_cast<std::uint8_t>(zero + high / 10);
    digits[1] = static_cast<std::uint8_t>(zero + high % 10);
    write16(value - high * power(16), zero, digits + 2);
}

// floor(2^(64 + bits) / 10^exponent), to divide by a number's leading word alone.
constexpr Word leadingReciprocal(int exponent, int bits) {
    Words6 value = {};
    value[(64 + bits) / 64] = Word{1} << bits % 64;
    for (int i = 0; i < exponent; ++i) {
        Wide rest = 0;
        for (int j = 5; j >= 0; --j) {
            rest = wide(lowWord(rest), value[j]);
            value[j] = lowWord(rest / 10);
            rest %= 10;
        }
    }
    return value[0];
}

// a < 10^52 divided by 10^36, which leaves the remainder in a.
Word takeLeading16(Words3 &a) {
    constexpr int kBits = 109, kShift = 10;
    constexpr Words<2> kDivisor = resized<2>(kPowers[36]);
    Word const leading = lowWord(wide(a[2], a[1]) >> (kBits - 64));
    Word quotient = highWord(Wide{leading} * leadingReciprocal(36, kBits + kShift)) >> kShift;
    subtract(a, multiplyInto<3>(kDivisor, Words<1>{{quotient}}));
    while (!isLess(a, kPowers[36])) {
        subtract(a, kPowers[36]);
        ++quotient;
    }
    return quotient;
}

// a < 10^36 divided by 10^18.
Word takeLeading18(Wide &a) {
    constexpr int kBits = 56, kShift = 3;
    Word const leading = lowWord(a >> kBits);
    Word quotient = highWord(Wide{leading} * leadingReciprocal(18, kBits + kShift)) >> kShift;
    a -= Wide{quotient} * power(18);
    while (a >= power(18)) {
        a -= power(18);
        ++quotient;
    }
    return quotient;
}

// --- Reading ----------------------------------------------------------------------------------

bool areDigits(Word bytes) {
    return ((bytes & repeated(0xf0)) | (((bytes + repeated(6)) & repeated(0xf0)) >> 4)) ==
           repeated(0x33);
}

// 8 digits: pairs, then halves, then the number.
Word read8(char const *digits) {
    Word const values = load(digits) & repeated(0x0f);
    Word const pairs = (values * 10 + (values >> 8)) & 0x00ff00ff00ff00ff;
    Word const halves = (pairs * 100 + (pairs >> 16)) & 0x0000ffff0000ffff;
    return (halves * 10000 + (halves >> 32)) & 0xffffffff;
}

Word read16(char const *digits) { return read8(digits) * power(8) + read8(digits + 8); }

}  // namespace

void writeDigits(Words3 const &coefficient, std::uint8_t zero, std::uint8_t *digits) {
    Words3 rest = coefficient;
    write16(takeLeading16(rest), zero, digits);
    Wide low = wide(rest[1], rest[0]);
    write18(takeLeading18(low), zero, digits + 16);
    write18(lowWord(low), zero, digits + 34);
}

Words3 readDigits(char const *digits, int length) {
    constexpr int kRoom = 56;
    char padded[kRoom];
    std::memset(padded, '0', kRoom);
    std::memcpy(padded + kRoom - length, digits, static_cast<std::size_t>(length));
    if (length <= 16) return {{read16(padded + kRoom - 16), 0, 0}};
    Words3 value = {{read8(padded), 0, 0}};
    for (int i = 8; i < kRoom; i += 16) multiplySmall(value, power(16), read16(padded + i));
    return value;
}

char const *skipDigits(char const *from, char const *end) {
    while (end - from >= 8 && areDigits(load(from))) from += 8;
    while (from < end && static_cast<unsigned char>(*from - '0') < 10) ++from;
    return from;
}

}  // namespace decnumber
