#include "bench/decimal128.h"

#include <string.h>

static _Decimal128 valueOf(Decimal128Words const *words) {
    _Decimal128 value;
    memcpy(&value, words, sizeof value);
    return value;
}

static void store(_Decimal128 value, Decimal128Words *words) {
    memcpy(words, &value, sizeof value);
}

Decimal128Words decimal128Read(char const *digits) {
    _Decimal128 value = 0, unit = 1;
    int isFraction = 0;
    char const *at = digits + (*digits == '-');
    for (; *at; ++at) {
        if (*at == '.') {
            isFraction = 1;
            continue;
        }
        value = value * 10 + (*at - '0');
        if (isFraction) unit *= 10;
    }
    Decimal128Words words;
    store(*digits == '-' ? -value / unit : value / unit, &words);
    return words;
}

void decimal128AddWords(Decimal128Words const *a, Decimal128Words const *b, Decimal128Words *sum) {
    store(valueOf(a) + valueOf(b), sum);
}

void decimal128MultiplyWords(Decimal128Words const *a, Decimal128Words const *b,
                             Decimal128Words *product) {
    store(valueOf(a) * valueOf(b), product);
}

void decimal128DivideWords(Decimal128Words const *a, Decimal128Words const *b,
                           Decimal128Words *quotient) {
    store(valueOf(a) / valueOf(b), quotient);
}
