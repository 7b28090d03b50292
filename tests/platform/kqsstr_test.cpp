#include "platform/kqsstr.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <sstream>
#include <string>

namespace {

using namespace std::chrono;

// --- Numbers ----------------------------------------------------------------------------------

TEST(KqsstrNumberTest, ParsesWholeNumbers) {
    constexpr long long kLeast = std::numeric_limits<long long>::min(), kMost = -1 - kLeast;
    long long value = 0;
    for (char const *text : {"", "-", "+-5", "- 5", "5 5", "99999999999999999999999x"}) {
        EXPECT_EQ(kqs_numparse64(text, &value, 10, 0), 0) << text;
    }
    std::tuple<char const *, int, int, long long> const cases[] = {
        {" \t-42\n ", 0, 7, -42},
        {"9223372036854775807", 10, 19, kMost},
        {"-9223372036854775808", 10, 20, kLeast},
        {"9223372036854775808", 10, -1, 0},
        {"-9223372036854775809", 10, -1, 0},
        {"fF", 16, 2, 255},
        {"zz", 36, 2, 1295},
        {"12", 2, 0, 0}};
    for (auto const &[text, base, result, expected] : cases) {
        value = 0;
        EXPECT_EQ(kqs_numparse64(text, &value, base, 0), result) << text;
        EXPECT_EQ(value, expected) << text;
    }
    int narrow = 0;
    unsigned long long wide = 0;
    EXPECT_EQ(kqs_numparse("2147483648", &narrow, 0, 0), -1);
    EXPECT_EQ(kqs_numparseU64("18446744073709551615", &wide, 0, 0), 20);
    EXPECT_EQ(kqs_numparseU64("18446744073709551616", &wide, 0, 0), -1);
    EXPECT_EQ(kqs_numparseU64("-1", &wide, 0, 0), -1);
}

TEST(KqsstrNumberTest, ParsesDoublesAsTheCLibraryDoes) {
    for (char const *text : {"0", "-0", "1.5", "+1.5", ".5", "5.", "1e3", "1E-3", "1e+020", "0.1",
                             "1.7976931348623157e308", "4.9e-324", "2.2250738585072011e-308",
                             "1e-400", "-0.000000000000001e-400", "0e99999999999999999999", " 12 ",
                             "123456789012345678901234567890"}) {
        double value = 99;
        EXPECT_EQ(kqs_numparsedbl(text, &value), static_cast<int>(std::strlen(text))) << text;
        double const expected = std::strtod(text, nullptr);
        EXPECT_EQ(value, expected) << text;
        EXPECT_EQ(std::signbit(value), std::signbit(expected)) << text;
    }
}

TEST(KqsstrNumberTest, RefusesWhatIsNoDouble) {
    std::string const longZeros = "0." + std::string(400, '0') + "1e800";
    double value = 99;
    for (char const *text : {"1e400", "-1e309", "1e99999999999999999999", longZeros.c_str()}) {
        EXPECT_EQ(kqs_numparsedbl(text, &value), -1) << text;
    }
    for (char const *text :
         {"", ".", "e5", "1e", "1,5", "inf", "-nan", "0x10", "--1", "1 2", "1e400x"}) {
        EXPECT_EQ(kqs_numparsedbl(text, &value), 0) << text;
    }
    EXPECT_EQ(value, 99);
}

// --- Calendar ---------------------------------------------------------------------------------

TEST(KqsstrCalendarTest, AgreesWithTheStandardLibraryOnEveryDay) {
    for (int y : {1, 4, 99, 100, 400, 1582, 1899, 1900, 1999, 2000, 2023, 2024, 2100, 9996, 9999}) {
        for (sys_days day = sys_days(year(y) / 1 / 1); day <= sys_days(year(y) / 12 / 31);
             day += days(1)) {
            year_month_day const date(day);
            int const m = static_cast<int>(unsigned{date.month()});
            int const d = static_cast<int>(unsigned{date.day()});
            double value = 0;
            ASSERT_EQ(kqs_compose_date(y, m, d, 0, 0, 0, &value), 1);
            ASSERT_EQ(value, (day - sys_days(1899y / December / 30)).count());
            ASSERT_EQ(kqs_weekday(y, m, d), static_cast<int>(weekday(day).c_encoding()));
            int p[6];
            ASSERT_EQ(kqs_decompose_date(value, &p[0], &p[1], &p[2], &p[3], &p[4], &p[5]), 1);
            ASSERT_EQ((std::array{p[0], p[1], p[2]}), (std::array{y, m, d}));
        }
    }
}

TEST(KqsstrCalendarTest, IsExactToTheMillisecond) {
    for (double const day : {-693593.0, -1.0, 0.0, 1.0, 42860.0, 2958465.0}) {
        for (int millis = 0; millis < 86400000; millis += 997) {
            int y, m, d, hour, minute, second, milli;
            double const number = (day * 86400000.0 + millis) / 86400000.0;
            ASSERT_EQ(kqs_decompose_date_milli(number, &y, &m, &d, &hour, &minute, &second, &milli),
                      1);
            ASSERT_EQ(((hour * 60 + minute) * 60 + second) * 1000 + milli, millis);
            double again = 0;
            ASSERT_EQ(kqs_compose_date_milli(y, m, d, hour, minute, second, milli, &again), 1);
            ASSERT_EQ(again, number);
        }
    }
}

TEST(KqsstrCalendarTest, RefusesPartsOutOfRange) {
    int const cases[][7] = {
        {0, 1, 1, 0, 0, 0, 0},     {10000, 1, 1, 0, 0, 0, 0},  {2017, 13, 1, 0, 0, 0, 0},
        {2017, 2, 29, 0, 0, 0, 0}, {1900, 2, 29, 0, 0, 0, 0},  {2017, 1, 0, 0, 0, 0, 0},
        {2017, 1, 1, 24, 0, 0, 0}, {2017, 1, 1, 0, 60, 0, 0},  {2017, 1, 1, 0, 0, 60, 0},
        {2017, 1, 1, 0, 0, 0, -1}, {2017, 1, 1, 0, 0, 0, 1000}};
    double value = 7;
    for (auto const &c : cases) {
        EXPECT_EQ(kqs_compose_date_milli(c[0], c[1], c[2], c[3], c[4], c[5], c[6], &value), 0);
    }
    EXPECT_EQ(value, 7);
    EXPECT_EQ(kqs_weekday(2017, 2, 29), -1);
}

TEST(KqsstrCalendarTest, RefusesNumbersThatAreNoDate) {
    std::pair<double, int> const cases[] = {
        {-693593, 1}, {2958465.999999985, 1},  {-0.4 / 86400000, 1}, {-693593.1, 0}, {2958466.0, 0},
        {-1e300, 0},  {2958465.9999999999, 0}, {std::nan(""), 0}};
    for (auto const &[value, expected] : cases) {
        int p[6];
        EXPECT_EQ(kqs_decompose_date(value, &p[0], &p[1], &p[2], &p[3], &p[4], &p[5]), expected)
            << value;
    }
}

// --- Texts ------------------------------------------------------------------------------------

// Reads a text in the format that is found for it and writes it in ISO form with the format.
std::string readBack(char const *text) {
    kqs_date_format const format = kqs_get_date_format(text);
    int p[7];
    if (kqs_string_to_date_milli(text, format, &p[0], &p[1], &p[2], &p[3], &p[4], &p[5], &p[6])) {
        bool const isIsoByForm = format == KQS_DATE_ISO && std::strpbrk(text, "Tt");
        return format == KQS_DATE_NONE || isIsoByForm ? "none" : "contradiction";
    }
    double value = 0;
    if (!kqs_compose_date_milli(p[0], p[1], p[2], p[3], p[4], p[5], p[6], &value)) return "no day";
    char buffer[64];
    kqs_date_to_string(value, 1, buffer, sizeof buffer);
    return std::to_string(format) + " " + buffer;
}

TEST(KqsstrDateTextTest, ReadsEveryFormat) {
    std::pair<char const *, char const *> const cases[] = {
        {"2017-05-05", "1 2017-05-05T00:00:00.000"},
        {"20170505T090307", "1 2017-05-05T09:03:07.000"},
        {" 2017-05-05  09:03:07,1239 ", "1 2017-05-05T09:03:07.123"},
        {"2017-05-05t09:03:07.5z", "1 2017-05-05T09:03:07.500"},
        {"2017-05-05T09:03:07+05:30", "1 2017-05-05T09:03:07.000"},
        {"2017-05-05T09:03:07:30", "1 2017-05-05T09:03:07.000"},
        {"01/02/2017 03:04:05.006", "2 2017-01-02T03:04:05.006"},
        {"1/2/50 12:00:30PM", "2 1950-01-02T12:00:30.000"},
        {"may 5, 2017 9:03 PM", "2 2017-05-05T21:03:00.000"},
        {"13/05/2017", "3 2017-05-13T00:00:00.000"},
        {"17-05-05", "3 2005-05-17T00:00:00.000"},
        {"5-SEP-2017", "3 2017-09-05T00:00:00.000"},
        {"2017 Dec 6", "4 2017-12-06T00:00:00.000"},
        {"02/30/2017", "no day"}};
    for (auto const &[text, expected] : cases) EXPECT_EQ(readBack(text), expected) << text;
}

TEST(KqsstrDateTextTest, RefusesWhatIsNoDate) {
    std::istringstream texts(
        "|x|2017|2017-05|2017-05-05T|2017-05-05T24:00|2017-05-05T09:60|2017-05-05T09:03:60|"
        "2017-05-05T09:03:07.|2017-05-05T09:03:07X|2017-05-05T09:03:07+24|2017-05-05T09:03:07+05:|"
        "2017-05-05T09:03:07Z ?|2017-13-05|2017-00-05|2017-05-32|0000-05-05|0-00-00T00:00:00Z|"
        "12345-05-05T00:00:00Z|170505|170505T000000|1/2|1/2/|1/2-2017|1 2 2017|13/13/2017|"
        "1/2/2017 25:00|1/2/2017 13:00 PM|1/2/2017 9:00 XM|1/2/2017 9:0|Mayday 5 2017|5 Ma 2017|"
        "1/2/2017x|1/2/20171");
    for (std::string text; std::getline(texts, text, '|');) {
        EXPECT_EQ(readBack(text.c_str()), "none") << text;
    }
}

}  // namespace
