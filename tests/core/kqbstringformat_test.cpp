#include "kqb/kqbstringformat.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <utility>

#include "support/pool_faults.h"
#include "support/pool_test.h"

namespace {

using KqbStringFormatTest = PoolTest;

std::string shown(KqbString const &s) { return s.isNull() ? "null" : s.asCstr(); }

TEST_F(KqbStringFormatTest, copiesWhatIsNoConversion) {
    struct {
        char const *format, *expected;
    } const cases[] = {
        {nullptr, "null"}, {"", "null"},     {"plain \xC3\xA4", "plain \xC3\xA4"},
        {"%%", "%"},       {"%x", "%x"},     {"%Ix", "%x"},
        {"%I64x", "%64x"}, {"%lx", "%lx"},   {"%lllx", "%lx"},
        {"50%", "50%"},    {"%l", "%l"},     {"%I", "%"},
        {"\x80", "\x80"},  {"%l%%", "%l%%"}, {"%s %d %lli %I64u", "%s %d %lli %I64u"}};
    for (auto const &c : cases) EXPECT_EQ(shown(kqbStringFormat(c.format)), c.expected);
    EXPECT_EQ(shown(kqbStringFormat("%5d|%d", 7)), "%5d|7");
}

TEST_F(KqbStringFormatTest, writesNumbersAtTheirOwnWidth) {
    std::pair<KqbString, char const *> const cases[] = {
        {kqbStringFormat("%ld %li %lu", INT_MIN, -1, UINT_MAX), "-2147483648 -1 4294967295"},
        {kqbStringFormat("%lllli %llu", LLONG_MIN, ULLONG_MAX),
         "-9223372036854775808 18446744073709551615"},
        {kqbStringFormat("%I64i %I64u", -1L, -1L), "-1 18446744073709551615"},
        {kqbStringFormat("%g %g", 0.1, 1e20), "0.1 1e+020"},
        {kqbStringFormat("%d %lu", 5000000000LL, 5000000000ULL), "5000000000 5000000000"},
        {kqbStringFormat("%d %llu", UINT_MAX, -1), "-1 4294967295"},
        {kqbStringFormat("%d %d", true, static_cast<unsigned char>(200)), "1 200"},
        {kqbStringFormat("%d %d", 1), "1 %d"},
        {kqbStringFormat("%s %lld %g", 1, "x", 2), "%s %lld %g"},
        {kqbStringFormat("%S %d", "x", 2), "%S 2"}};
    for (auto const &[text, expected] : cases) EXPECT_EQ(shown(text), expected);
}

TEST_F(KqbStringFormatTest, writesTexts) {
    KqbString const null, empty(""), text("text");
    char const *const none = nullptr;
    std::pair<KqbString, char const *> const cases[] = {
        {kqbStringFormat("%s", none), ""},
        {kqbStringFormat("%s", ""), ""},
        {kqbStringFormat("%S", null), "null"},
        {kqbStringFormat("%S%s", null, none), ""},
        {kqbStringFormat("%S", empty), ""},
        {kqbStringFormat("[%S]", null), "[]"},
        {kqbStringFormat("%S/%s/%S", text, "x", text), "text/x/text"}};
    for (auto const &[result, expected] : cases) EXPECT_EQ(shown(result), expected);
}

TEST_F(KqbStringFormatTest, buildsResultsOfAnySize) {
    for (std::size_t size : {490U, 511U, 512U, 513U, 5000U}) {
        std::string const piece(size, 'p');
        EXPECT_EQ(shown(kqbStringFormat("%s|%lld|%s|%g", piece.c_str(), LLONG_MIN, piece.c_str(),
                                        -1.23456789012345e-300)),
                  piece + "|-9223372036854775808|" + piece + "|-1.23456789012345e-300");
    }
}

TEST_F(KqbStringFormatTest, keepsWhatCouldBeBuilt) {
    refusesRequests_ = true;
    KqbString result;
    {
        PoolFaults const faults(0);
        result = kqbStringFormat("%s", "a text");
    }
    EXPECT_TRUE(result.isNull());
}

}  // namespace
