// Arithmetic of the proleptic Gregorian calendar, years 1 to 9999.
#pragma once

#include <cstdint>

namespace kqsstr {

constexpr int kMinYear = 1;
constexpr int kMaxYear = 9999;
constexpr int kMillisPerSecond = 1000;
constexpr int kMillisPerMinute = 60 * kMillisPerSecond;
constexpr int kMillisPerHour = 60 * kMillisPerMinute;
constexpr int kMillisPerDay = 24 * kMillisPerHour;

constexpr bool isBetween(int value, int from, int to) { return value >= from && value <= to; }

// A moment in its parts; those of a date alone leave the time at midnight.
struct Moment {
    int year = 0;
    int month = 0;
    int day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    int millisecond = 0;
};

// False, leaving the moment, when the date number is none.
bool decompose(double value, Moment &moment);

}  // namespace kqsstr
