// Decimals: any text, and any words as operands of everything. Results are canonical, texts read
// back, a result may be an operand, and a quotient and its remainder make up the dividend.
#include <cstring>
#include <string_view>

#include "fuzz/fuzz_support.h"
#include "platform/decnumber.h"

namespace {

using Binary = decltype(&decSextAdd);
using Unary = decltype(&decSextPlus);

constexpr Binary kBinaries[] = {decSextAdd,      decSextSubtract,      decSextMultiply,
                                decSextDivide,   decSextDivideInteger, decSextRemainder,
                                decSextQuantize, decSextCompare,       decSextRemainderNear};
constexpr Unary kUnaries[] = {decSextPlus, decSextMinus, decSextAbs, decSextReduce};

decContext contextOf(std::uint8_t round) {
    decContext context;
    decContextDefault(&context, DEC_INIT_DECIMAL192);
    context.round = static_cast<rounding>(round % 9);  // one of them wrong
    return context;
}

bool isSame(decSext const &a, decSext const &b) { return !std::memcmp(&a, &b, sizeof a); }

void checkText(decSext const &value) {
    char text[DECSEXT_String];
    decSextToString(&value, text);
    decContext context = contextOf(DEC_ROUND_HALF_EVEN);
    decSext back;
    decSextFromString(&back, text, &context);
    fuzzCheck(isSame(back, value) && (context.status & ~DEC_Subnormal) == 0, "a text reads back");
}

void check(decSext const &result, decContext const &context) {
    fuzzCheck(decSextIsCanonical(&result), "a result is canonical");
    fuzzCheck((context.status & ~0x3fffu) == 0, "the status is one of the known");
    checkText(result);
}

void checkBinary(Binary operation, decSext const &left, decSext const &right, std::uint8_t round) {
    decContext context = contextOf(round);
    decSext result, first = left, second = right;
    check(*operation(&result, &left, &right, &context), context);
    operation(&first, &first, &right, &context);
    operation(&second, &left, &second, &context);
    fuzzCheck(isSame(result, first) && isSame(result, second), "a result may be an operand");
}

void checkUnaries(decSext const &value, std::uint8_t round) {
    decContext context = contextOf(round);
    decSext result;
    for (Unary operation : kUnaries) check(*operation(&result, &value, &context), context);
    check(*decSextToIntegralValue(&result, &value, &context, context.round), context);
    check(*decSextSetExponent(&result, &value, &context, round - 128), context);
    check(*decSextFromDouble(&result, decSextToDouble(&value, &context), &context), context);
    decSextToInt64(&value, &context, context.round);
    decNumber number;
    decNumberSquareRoot(&number, decimal192ToNumber(&value, &number), &context);
    check(*decimal192FromNumber(&result, &number, &context), context);
}

// left = quotient * right + remainder.
void checkDivision(decSext const &left, decSext const &right) {
    decContext context = contextOf(DEC_ROUND_HALF_EVEN);
    decSext quotient, remainder, sum;
    decSextDivideInteger(&quotient, &left, &right, &context);
    decSextRemainder(&remainder, &left, &right, &context);
    if (context.status & DEC_Errors || !decSextIsFinite(&left) || !decSextIsFinite(&right)) return;
    decSextFMA(&sum, &quotient, &right, &remainder, &context);
    decSextCompare(&sum, &sum, &left, &context);
    fuzzCheck(decSextIsZero(&sum), "quotient and remainder make up the dividend");
}

void checkNumbers(std::uint8_t const *data, std::uint8_t round) {
    decSext values[3];
    std::memcpy(values, data, sizeof values);
    for (decSext const &value : values) checkUnaries(value, round);
    for (Binary operation : kBinaries) checkBinary(operation, values[0], values[1], round);
    checkDivision(values[0], values[1]);
    decContext context = contextOf(round);
    decSextFMA(&values[2], &values[0], &values[1], &values[2], &context);
    check(values[2], context);
}

void checkAnyText(std::string_view text, std::uint8_t round) {
    decContext context = contextOf(round);
    decSext value;
    decSextFromBytes(&value, text.data(), text.size(), &context);
    check(value, context);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const *data, std::size_t size) {
    constexpr std::size_t kNumbers = 3 * sizeof(decSext);
    if (size == 0) return 0;
    std::uint8_t const round = data[0];
    if (size == 1 + kNumbers) checkNumbers(data + 1, round);
    // A copy of the exact size, so that reading beyond it shows.
    checkAnyText(fuzzText(data + 1, size - 1), round);
    return 0;
}
