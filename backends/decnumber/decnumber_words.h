// Whole numbers of a few 64-bit words, least significant first.
#pragma once

#include <bit>
#include <cstdint>
#include <utility>

namespace decnumber {

using Word = std::uint64_t;
__extension__ using Wide = unsigned __int128;

template <int N>
struct Words {
    Word w[N];

    constexpr Word &operator[](int i) { return w[i]; }
    constexpr Word operator[](int i) const { return w[i]; }
    friend constexpr bool operator==(Words const &, Words const &) = default;
};

using Words3 = Words<3>;
using Words6 = Words<6>;

constexpr Word lowWord(Wide value) { return static_cast<Word>(value); }
constexpr Word highWord(Wide value) { return static_cast<Word>(value >> 64); }
constexpr Wide wide(Word high, Word low) { return Wide{high} << 64 | low; }

// Calls take(i) for i from 0 to N - 1, each a line of its own to the compiler, which then keeps the
// words in registers.
template <int N, class Take>
[[gnu::always_inline]] constexpr void eachWord(Take take) {
    [&]<int... i>(std::integer_sequence<int, i...>) __attribute__((always_inline)) {
        (take(i), ...);
    }
    (std::make_integer_sequence<int, N>());
}

constexpr Word addWithCarry(Word a, Word b, Word &carry) {
    Wide const sum = Wide{a} + b + carry;
    carry = highWord(sum);
    return lowWord(sum);
}

constexpr Word subtractWithBorrow(Word a, Word b, Word &borrow) {
    Wide const difference = Wide{a} - b - borrow;
    borrow = highWord(difference) & 1;
    return lowWord(difference);
}

// a += b, a -= b; the carry or borrow out of the top.
template <int N>
constexpr Word add(Words<N> &a, Words<N> const &b) {
    Word carry = 0;
    eachWord<N>([&](int i) { a[i] = addWithCarry(a[i], b[i], carry); });
    return carry;
}

template <int N>
constexpr Word subtract(Words<N> &a, Words<N> const &b) {
    Word borrow = 0;
    eachWord<N>([&](int i) { a[i] = subtractWithBorrow(a[i], b[i], borrow); });
    return borrow;
}

template <int N>
constexpr Word addSmall(Words<N> &a, Word b) {
    eachWord<N>([&](int i) {
        a[i] += b;
        b = a[i] < b;
    });
    return b;
}

template <int N>
constexpr Word subtractSmall(Words<N> &a, Word b) {
    eachWord<N>([&](int i) {
        Word const before = a[i];
        a[i] = before - b;
        b = before < b;
    });
    return b;
}

// a = a * factor + addend; what does not fit.
template <int N>
constexpr Word multiplySmall(Words<N> &a, Word factor, Word addend) {
    eachWord<N>([&](int i) {
        Wide const product = Wide{a[i]} * factor + addend;
        a[i] = lowWord(product);
        addend = highWord(product);
    });
    return addend;
}

// a = a / divisor; the remainder. For what is done once: it divides word by word.
template <int N>
constexpr Word divideSmall(Words<N> &a, Word divisor) {
    Word rest = 0;
    for (int i = N - 1; i >= 0; --i) {
        Wide const n = wide(rest, a[i]);
        a[i] = lowWord(n / divisor);
        rest = lowWord(n % divisor);
    }
    return rest;
}

template <int N>
constexpr bool isZero(Words<N> const &a) {
    Word any = 0;
    eachWord<N>([&](int i) { any |= a[i]; });
    return any == 0;
}

template <int N, int From = N - 1>
constexpr bool isLess(Words<N> const &a, Words<N> const &b) {
    if constexpr (From > 0) {
        if (a[From] == b[From]) return isLess<N, From - 1>(a, b);
    }
    return a[From] < b[From];
}

template <int N>
constexpr int compare(Words<N> const &a, Words<N> const &b) {
    return isLess(a, b) ? -1 : a != b;
}

constexpr int bitLength(Word a) { return static_cast<int>(std::bit_width(a)); }

template <int N>
constexpr int bitLength(Words<N> const &a) {
    for (int i = N - 1; i > 0; --i) {
        if (a[i]) return 64 * i + bitLength(a[i]);
    }
    return bitLength(a[0]);
}

template <int N>
constexpr int trailingZeroBits(Words<N> const &a) {
    for (int i = 0; i < N; ++i) {
        if (a[i]) return 64 * i + std::countr_zero(a[i]);
    }
    return 64 * N;
}

template <int To, int From>
constexpr Words<To> resized(Words<From> const &a) {
    Words<To> result = {};
    eachWord<(To < From ? To : From)>([&](int i) { result[i] = a[i]; });
    return result;
}

// The rows of the schoolbook product, as far as they stay below word N.
template <int N, int A, int B>
constexpr Words<N> multiplyInto(Words<A> const &a, Words<B> const &b) {
    Words<N> result = {};
    eachWord<A>([&](int i) {
        Word carry = 0;
        eachWord<B>([&](int j) {
            if (i + j >= N) return;
            Wide const sum = Wide{a[i]} * b[j] + result[i + j] + carry;
            result[i + j] = lowWord(sum);
            carry = highWord(sum);
        });
        if (i + B < N) result[i + B] = carry;
    });
    return result;
}

template <int A, int B>
constexpr Words<A + B> multiply(Words<A> const &a, Words<B> const &b) {
    return multiplyInto<A + B>(a, b);
}

// The three leading words of the product, too small by less than five in the last of them.
constexpr Words3 multiplyLeading(Words3 const &a, Words3 const &b) {
    Wide const middle = Wide{a[1]} * b[2];
    Wide const otherMiddle = Wide{a[2]} * b[1];
    Words3 product = {{lowWord(middle), 0, 0}};
    Wide const top = Wide{a[2]} * b[2] + highWord(middle);
    product[1] = lowWord(top);
    product[2] = highWord(top);
    add(product, {{lowWord(otherMiddle), highWord(otherMiddle), 0}});
    addSmall(product, highWord(Wide{a[1]} * b[1]));
    addSmall(product, highWord(Wide{a[0]} * b[2]));
    addSmall(product, highWord(Wide{a[2]} * b[0]));
    return product;
}

// (high, low) >> bits, for bits from 0 to 63.
constexpr Word shiftedPair(Word high, Word low, int bits) {
    return low >> bits | high << 1 << (63 - bits);
}

// a << bits and a >> bits, for bits from 0 to 63.
template <int N>
constexpr Words<N> shiftedUp(Words<N> const &a, int bits) {
    Words<N> result = {};
    result[0] = a[0] << bits;
    eachWord<N - 1>([&](int i) { result[i + 1] = a[i + 1] << bits | a[i] >> 1 >> (63 - bits); });
    return result;
}

template <int N>
constexpr Words<N> shiftedDown(Words<N> const &a, int bits) {
    Words<N> result = {};
    result[N - 1] = a[N - 1] >> bits;
    eachWord<N - 1>([&](int i) { result[i] = shiftedPair(a[i + 1], a[i], bits); });
    return result;
}

}  // namespace decnumber
