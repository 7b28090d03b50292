// The compiler's 128-bit decimal, which only C has: 34 digits, binary-integer encoding.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

typedef struct {
    unsigned long words[2];
} Decimal128Words;

Decimal128Words decimal128Read(char const *digits);
void decimal128AddWords(Decimal128Words const *a, Decimal128Words const *b, Decimal128Words *sum);
void decimal128MultiplyWords(Decimal128Words const *a, Decimal128Words const *b,
                             Decimal128Words *product);
void decimal128DivideWords(Decimal128Words const *a, Decimal128Words const *b,
                           Decimal128Words *quotient);

#ifdef __cplusplus
}

struct Decimal128 : Decimal128Words {
    Decimal128() = default;
    explicit Decimal128(char const *digits) : Decimal128Words(decimal128Read(digits)) {}
};

inline Decimal128 decimal128Add(Decimal128 const &a, Decimal128 const &b) {
    Decimal128 result;
    decimal128AddWords(&a, &b, &result);
    return result;
}

inline Decimal128 decimal128Multiply(Decimal128 const &a, Decimal128 const &b) {
    Decimal128 result;
    decimal128MultiplyWords(&a, &b, &result);
    return result;
}

inline Decimal128 decimal128Divide(Decimal128 const &a, Decimal128 const &b) {
    Decimal128 result;
    decimal128DivideWords(&a, &b, &result);
    return result;
}
#endif
