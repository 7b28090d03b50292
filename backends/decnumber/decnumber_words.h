// Whole numbers of a few 64-bit words, least significant first.
#pragma once

#include <bit>
#include <cstdint>

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
    for (int i = 0; i < N; ++i) a[i] = addWithCarry(a[i], b[i], carry);
    return carry;
}

template <int N>
constexpr Word subtract(Words<N> &a, Words<N> const &b) {
    Word borrow = 0;
    for (int i = 0; i < N; ++i) a[i] = subtractWithBorrow(a[i], b[i], borrow);
    return borrow;
}

template <int N>
constexpr Word addSmall(Words<N> &a, Word b) {
    for (int i = 0; i < N; ++i) {
        a[i] += b;
        b = a[i] < b;
    }
    return b;
}

template <int N>
constexpr Word subtractSmall(Words<N> &a, Word b) {
    for (int i = 0; i < N; ++i) {
        Word const before = a[i];
        a[i] = before - b;
        b = before < b;
    }
    return b;
}

// a = a * factor + addend; what does not fit.
template <int N>
constexpr Word multiplySmall(Words<N> &a, Word factor, Word addend) {
    for (int i = 0; i < N; ++i) {
        Wide const product = Wide{a[i]} * factor + addend;
        a[i] = lowWord(product);
        addend = highWord(product);
    }
    return addend;
}

template <int N>
constexpr bool isZero(Words<N> const &a) {
    Word any = 0;
    for (int i = 0; i < N; ++i) any |= a[i];
    return any == 0;
}

template <int N>
constexpr bool isLess(Words<N> const &a, Words<N> const &b) {
    for (int i = N - 1; i > 0; --i) {
        if (a[i] != b[i]) return a[i] < b[i];
    }
    return a[0] < b[0];
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
    for (int i = 0; i < (To < From ? To : From); ++i) result[i] = a[i];
    return result;
}

// Rows of the schoolbook product that fit below word N.
template <int N, int A, int B>
constexpr Words<N> multiplyInto(Words<A> const &a, Words<B> const &b) {
    Words<N> result = {};
    for (int i = 0; i < A && i < N; ++i) {
        Word carry = 0;
        int const columns = B < N - i ? B : N - i;
        for (int j = 0; j < columns; ++j) {
            Wide const sum = Wide{a[i]} * b[j] + result[i + j] + carry;
            result[i + j] = lowWord(sum);
            carry = highWord(sum);
        }
        if (i + B < N) result[i + B] = carry;
    }
    return result;
}

template <int A, int B>
constexpr Words<A + B> multiply(Words<A> const &a, Words<B> const &b) {
    return multiplyInto<A + B>(a, b);
}

// a << bits and a >> bits, for bits from 0 to 63.
template <int N>
constexpr Words<N> shiftedUp(Words<N> const &a, int bits) {
    Words<N> result = {};
    result[0] = a[0] << bits;
    for (int i = 1; i < N; ++i) result[i] = highWord(wide(a[i], a[i - 1]) << bits);
    return result;
}

template <int N>
constexpr Words<N> shiftedDown(Words<N> const &a, int bits) {
    Words<N> result = {};
    result[N - 1] = a[N - 1] >> bits;
    for (int i = 0; i < N - 1; ++i) result[i] = lowWord(wide(a[i + 1], a[i]) >> bits);
    return result;
}

}  // namespace decnumber
