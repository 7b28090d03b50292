// KqbDate: a moment to the millisecond, or null; its order.
#pragma once

#include "kqb/kqbstring.h"

// A calendar date and time of day (proleptic Gregorian by ISO 8601, years 1 to 9999, no time
// zone), or null. Held as one number: days since 1899-12-30T00:00, the fraction being the time of
// day. What is no date makes the object null; nothing throws. Values are plain data; one object
// belongs to one thread at a time.
class KQB_API KqbDate {
public:
    // Null, with number 0.
    KqbDate() = default;
    KqbDate(int year, int month, int day, int hour, int minute, int second);
    // A date number, normalised to the millisecond. Null for NaN and beyond the years.
    explicit KqbDate(double value);
    // Text; see assign.
    explicit KqbDate(char const *text);

    KqbDate &assign(int year, int month, int day, int hour, int minute, int second,
                    int millisecond);
    KqbDate &assign(double value);

    // ISO 8601, extended or basic (2017-05-05, 2017-05-05T09:03:07.250, 20170505T090307Z; "T" or
    // blank), or numbers separated by "/", "-" or ".", or with an English month name (5 May 2017),
    // with a time of day, AM or PM. Where month and day cannot be told apart the month is first. A
    // zone is accepted and does not move the value. Digits beyond milliseconds are cut off. Null
    // text, and text that is no date, gives null. Every text asString writes reads back equal.
    KqbDate &assign(char const *text);

    // The parts; all zero for null. Every pointer may be null.
    void getElements(int *year, int *month, int *day, int *hour, int *minute, int *second,
                     int *millisecond) const;

    // 0 Sunday to 6 Saturday; -1 for null.
    int getWeekDay() const;

    // The date number, also of a null date (the number it held before, or 0).
    double asDouble() const { return value_; }
    bool isNull() const { return null_; }
    void setNull() { null_ = true; }

    // -1, 0 or 1. Null equals null and stands before all dates.
    int compare(KqbDate const &other) const;

    // iso false: "MM/DD/YYYY HH:MM:SS", with ".mmm" when the milliseconds are not 0 (milliseconds
    // is not looked at). iso true: "YYYY-MM-DDTHH:MM:SS.mmm", without ".mmm" when milliseconds is
    // false. The null state is not consulted: a null date writes the number it holds.
    KqbString asString(bool iso, bool milliseconds) const;
    KqbString asString(bool iso) const { return asString(iso, true); }

    // ISO 8601 without milliseconds, and a zone: Z for 0, 0; else sign and two-digit hours, and
    // ":" with two-digit minutes when they are not 0. For 0 hours and minutes other than 0 only
    // ":" and the minutes are written, without sign or hours. The value is not moved. The year is
    // written without leading zeros. A null date has zeros for all parts.
    KqbString asString(int zoneHours, unsigned int zoneMinutes) const;

    // Now, in UTC when utc is true or the option BASE/TIME_BASE is GMT, else in local time.
    static KqbDate currentDate(bool utc);

private:
    static bool doStrAssign(char const *text, double *out);

    bool null_ = true;
    double value_ = 0;
};

// Null stands before all dates; nulls are equal.
KQB_API bool operator<(KqbDate const &a, KqbDate const &b);
struct KQB_API KqbDateLess {
    bool operator()(KqbDate const &a, KqbDate const &b) const;
};
