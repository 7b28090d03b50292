// Dates as numbers. The conversions between days and calendar parts count from March, so that the
// leap day is the last of its year, and use multiplications in place of divisions after C. Neri
// and L. Schneider, "Euclidean affine functions and their application to calendar algorithms".
#include "backends/kqsstr/kqsstr_calendar.h"

#include <cmath>
#include <ctime>

#include "platform/kqsstr.h"

namespace kqsstr {
namespace {

// Days from 1 March of year 0 to 1899-12-30, and to the ends of the calendar.
constexpr std::int32_t kEpoch = 693899;
constexpr double kFirstDay = -693593;
constexpr double kLastDay = 2958465;
// Days from the epoch of date numbers to that of the system's clock.
constexpr std::int64_t kUnixEpoch = 25569;

bool isLeap(int year) { return year % (year % 25 == 0 ? 16 : 4) == 0; }

int monthLength(int year, int month) {
    if (month == 2) return isLeap(year) ? 29 : 28;
    return 30 | (month ^ month >> 3);
}

bool isDay(int year, int month, int day) {
    return isBetween(year, kMinYear, kMaxYear) && isBetween(month, 1, 12) &&
           (isBetween(day, 1, 28) || (day > 28 && day <= monthLength(year, month)));
}

// Days since 1 March of year 0.
std::int32_t daysOf(int year, int month, int day) {
    bool const isBeforeMarch = month <= 2;
    auto const y = static_cast<std::uint32_t>(year) - isBeforeMarch;
    auto const m = static_cast<std::uint32_t>(month) + (isBeforeMarch ? 12 : 0);
    std::uint32_t const century = y / 100;
    std::uint32_t const beforeMonth = 1461 * y / 4 - century + century / 4 + (979 * m - 2919) / 32;
    return static_cast<std::int32_t>(beforeMonth) + day - 1;
}

void setDay(std::uint32_t days, Moment &moment) {
    std::uint32_t const n1 = 4 * days + 3;
    std::uint32_t const century = n1 / 146097;
    std::uint32_t const n2 = n1 % 146097 | 3;
    std::uint64_t const p2 = std::uint64_t{2939745} * n2;
    auto const yearOfCentury = static_cast<std::uint32_t>(p2 >> 32);
    auto const dayOfYear = static_cast<std::uint32_t>(p2) / 2939745 / 4;
    std::uint32_t const n3 = 2141 * dayOfYear + 197913;
    bool const isNextYear = dayOfYear >= 306;
    moment.year = static_cast<int>(100 * century + yearOfCentury + isNextYear);
    moment.month = static_cast<int>((n3 >> 16) - (isNextYear ? 12 : 0));
    moment.day = static_cast<int>((n3 & 0xffff) / 2141 + 1);
}

void setTime(int millis, Moment &moment) {
    moment.hour = millis / kMillisPerHour;
    moment.minute = millis / kMillisPerMinute % 60;
    moment.second = millis / kMillisPerSecond % 60;
    moment.millisecond = millis % kMillisPerSecond;
}

double numberOf(std::int64_t days, std::int64_t millis) {
    return static_cast<double>(days * kMillisPerDay + millis) / kMillisPerDay;
}

timespec now() {
    timespec time = {};
    clock_gettime(CLOCK_REALTIME, &time);
    return time;
}

int millisOf(timespec const &time) { return static_cast<int>(time.tv_nsec / 1000000); }

}  // namespace

bool decompose(double value, Moment &moment) {
    if (!(value > kFirstDay - 1 && value < kLastDay + 2)) return false;
    // The fraction is exact, so that only its product with the day's length is rounded.
    double day = std::floor(value);
    int millis = static_cast<int>((value - day) * kMillisPerDay + 0.5);
    if (millis == kMillisPerDay) {
        millis = 0;
        ++day;
    }
    if (day < kFirstDay || day > kLastDay) return false;
    setDay(static_cast<std::uint32_t>(static_cast<std::int32_t>(day) + kEpoch), moment);
    setTime(millis, moment);
    return true;
}

}  // namespace kqsstr

using namespace kqsstr;

int kqs_compose_date(int year, int month, int day, int hour, int minute, int second,
                     double *value) {
    return kqs_compose_date_milli(year, month, day, hour, minute, second, 0, value);
}

int kqs_compose_date_milli(int year, int month, int day, int hour, int minute, int second,
                           int millisecond, double *value) {
    bool const isValid = isDay(year, month, day) && isBetween(hour, 0, 23) &&
                         isBetween(minute, 0, 59) && isBetween(second, 0, 59) &&
                         isBetween(millisecond, 0, kMillisPerSecond - 1);
    if (!isValid) return 0;
    int const millis =
        hour * kMillisPerHour + minute * kMillisPerMinute + second * kMillisPerSecond + millisecond;
    *value = numberOf(daysOf(year, month, day) - kEpoch, millis);
    return 1;
}

int kqs_decompose_date(double value, int *year, int *month, int *day, int *hour, int *minute,
                       int *second) {
    int millisecond;
    return kqs_decompose_date_milli(value, year, month, day, hour, minute, second, &millisecond);
}

int kqs_decompose_date_milli(double value, int *year, int *month, int *day, int *hour, int *minute,
                             int *second, int *millisecond) {
    Moment moment;
    if (!decompose(value, moment)) return 0;
    *year = moment.year;
    *month = moment.month;
    *day = moment.day;
    *hour = moment.hour;
    *minute = moment.minute;
    *second = moment.second;
    *millisecond = moment.millisecond;
    return 1;
}

int kqs_weekday(int year, int month, int day) {
    if (!isDay(year, month, day)) return -1;
    return (daysOf(year, month, day) + 3) % 7;
}

double kqs_timetoday() {
    timespec const time = now();
    tm local = {};
    if (!localtime_r(&time.tv_sec, &local)) return kqs_gmtimetoday();
    int const second = local.tm_sec < 60 ? local.tm_sec : 59;
    double value = 0;
    kqs_compose_date_milli(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
                           local.tm_min, second, millisOf(time), &value);
    return value;
}

double kqs_gmtimetoday() {
    timespec const time = now();
    return numberOf(kUnixEpoch, std::int64_t{time.tv_sec} * kMillisPerSecond + millisOf(time));
}
