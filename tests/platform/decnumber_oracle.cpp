// The decimal library's side of decnumber_oracle.py: reads cases "operation rounding operands... =
// result status", one a line, runs them and prints those that differ. Exit code 1 when one does.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "platform/decnumber.h"

namespace {

using Operands = std::vector<std::string>;

decContext contextOf(int round) {
    decContext context;
    decContextDefault(&context, DEC_INIT_DECIMAL192);
    decContextSetRounding(&context, static_cast<rounding>(round));
    return context;
}

decSext exactly(std::string const &text) {
    decContext context = contextOf(DEC_ROUND_HALF_EVEN);
    decSext value;
    decSextFromString(&value, text.c_str(), &context);
    if (context.status & (DEC_Inexact | DEC_Conversion_syntax)) {
        std::cerr << "not an operand: " << text << '\n';
        std::exit(2);
    }
    return value;
}

std::string textOf(decSext const &value) {
    char text[DECSEXT_String];
    return decSextToString(&value, text);
}

using Unary = decSext *(*)(decSext *, decSext const *, decContext *);
using Binary = decSext *(*)(decSext *, decSext const *, decSext const *, decContext *);
using Other = std::string (*)(Operands const &, decContext &);

struct Operation {
    char const *name;
    Unary unary = nullptr;
    Binary binary = nullptr;
    Other other = nullptr;
};

std::string fma(Operands const &texts, decContext &context) {
    decSext const a = exactly(texts[0]), b = exactly(texts[1]);
    decSext c = exactly(texts[2]);
    return textOf(*decSextFMA(&c, &a, &b, &c, &context));
}

std::string parse(Operands const &texts, decContext &context) {
    decSext value;
    return textOf(*decSextFromBytes(&value, texts[0].data(), texts[0].size(), &context));
}

std::string setExponent(Operands const &texts, decContext &context) {
    decSext value = exactly(texts[0]);
    return textOf(*decSextSetExponent(&value, &value, &context, std::stoi(texts[1])));
}

std::string toIntegral(Operands const &texts, decContext &context) {
    decSext value = exactly(texts[0]);
    rounding const round = context.round;
    context.round = DEC_ROUND_UP;  // which must not matter
    return textOf(*decSextToIntegralValue(&value, &value, &context, round));
}

std::string squareRoot(Operands const &texts, decContext &context) {
    decSext value = exactly(texts[0]);
    context.digits = std::stoi(texts[1]);
    decNumber number;
    decimal192ToNumber(&value, &number);
    decNumberSquareRoot(&number, &number, &context);
    return textOf(*decimal192FromNumber(&value, &number, &context));
}

std::string toInt64(Operands const &texts, decContext &context) {
    decSext const value = exactly(texts[0]);
    return std::to_string(decSextToInt64(&value, &context, context.round));
}

std::string toUInt64(Operands const &texts, decContext &context) {
    decSext const value = exactly(texts[0]);
    return std::to_string(decSextToUInt64(&value, &context, context.round));
}

std::string toUInt32(Operands const &texts, decContext &context) {
    decSext const value = exactly(texts[0]);
    return std::to_string(decSextToUInt32(&value, &context, context.round));
}

std::string fromDouble(Operands const &texts, decContext &context) {
    decSext value;
    return textOf(*decSextFromDouble(&value, std::strtod(texts[0].c_str(), nullptr), &context));
}

std::string toDouble(Operands const &texts, decContext &context) {
    decSext const value = exactly(texts[0]);
    std::array<char, 40> text;
    std::snprintf(text.data(), text.size(), "%.17g", decSextToDouble(&value, &context));
    return text.data();
}

std::string bcd(Operands const &texts, decContext &) {
    decSext const value = exactly(texts[0]);
    std::array<std::uint8_t, DECSEXT_Pmax> digits;
    std::int32_t exponent;
    std::string text = decSextToBCD(&value, &exponent, digits.data()) ? "-" : "+";
    for (std::uint8_t digit : digits) text += static_cast<char>('0' + digit);
    return text + "E" + std::to_string(exponent) + "D" + std::to_string(decSextDigits(&value));
}

constexpr Operation kOperations[] = {
    {"add", nullptr, decSextAdd},
    {"subtract", nullptr, decSextSubtract},
    {"multiply", nullptr, decSextMultiply},
    {"divide", nullptr, decSextDivide},
    {"divide_int", nullptr, decSextDivideInteger},
    {"remainder", nullptr, decSextRemainder},
    {"remainder_near", nullptr, decSextRemainderNear},
    {"quantize", nullptr, decSextQuantize},
    {"compare", nullptr, decSextCompare},
    {"minus", decSextMinus},
    {"plus", decSextPlus},
    {"abs", decSextAbs},
    {"reduce", decSextReduce},
    {"fma", nullptr, nullptr, fma},
    {"parse", nullptr, nullptr, parse},
    {"set_exponent", nullptr, nullptr, setExponent},
    {"to_integral", nullptr, nullptr, toIntegral},
    {"sqrt", nullptr, nullptr, squareRoot},
    {"to_int64", nullptr, nullptr, toInt64},
    {"to_uint64", nullptr, nullptr, toUInt64},
    {"to_uint32", nullptr, nullptr, toUInt32},
    {"from_double", nullptr, nullptr, fromDouble},
    {"to_double", nullptr, nullptr, toDouble},
    {"bcd", nullptr, nullptr, bcd},
};

Operation const &operationOf(std::string const &name) {
    for (Operation const &operation : kOperations) {
        if (name == operation.name) return operation;
    }
    std::cerr << "no such operation: " << name << '\n';
    std::exit(2);
}

std::string run(Operation const &operation, Operands const &texts, decContext &context) {
    if (operation.other) return operation.other(texts, context);
    decSext const left = exactly(texts[0]);
    decSext aliased = left;
    decSext result;
    if (operation.unary) {
        operation.unary(&aliased, &aliased, &context);
        return textOf(*operation.unary(&result, &left, &context));
    }
    decSext const right = exactly(texts[1]);
    operation.binary(&aliased, &aliased, &right, &context);
    operation.binary(&result, &left, &right, &context);
    if (textOf(aliased) != textOf(result)) return "differs when the result is an operand";
    aliased = right;
    return textOf(*operation.binary(&aliased, &left, &aliased, &context));
}

// As a signal tells it: the kinds of invalid operation are one.
std::uint32_t signalsOf(std::uint32_t status) {
    if (status & DEC_IEEE_Invalid_operation) status |= DEC_Invalid_operation;
    return (status & ~std::uint32_t{DEC_IEEE_Invalid_operation}) | (status & DEC_Invalid_operation);
}

bool check(std::string const &line) {
    std::istringstream words(line);
    std::string name, word, expected;
    int round = 0;
    std::uint32_t status = 0;
    Operands texts;
    words >> name >> round;
    while (words >> word && word != "=") texts.push_back(word);
    words >> expected >> status;
    decContext context = contextOf(round);
    std::string const result = run(operationOf(name), texts, context);
    if (result == expected && signalsOf(context.status) == status) return true;
    std::cout << line << "\n    but got " << result << ' ' << signalsOf(context.status) << '\n';
    return false;
}

}  // namespace

int main() {
    constexpr int kMostShown = 20;
    std::ios::sync_with_stdio(false);
    long long cases = 0, wrong = 0;
    for (std::string line; wrong < kMostShown && std::getline(std::cin, line); ++cases) {
        if (!check(line)) ++wrong;
    }
    std::cout << cases << " cases, " << wrong << " wrong\n";
    return wrong != 0 || cases == 0;
}
