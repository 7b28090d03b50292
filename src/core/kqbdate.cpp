// KqbDate: the calendar is the string library's; null handling, order and the zone form are here.
#include "kqb/kqbdate.h"

#include "core/kqbdate_internal.h"
#include "kqb/kqbstringformat.h"
#include "platform/kqsstr.h"

namespace {

constexpr int kDateText = 128;

struct Parts {
    int year = 0;
    int month = 0;
    int day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    int millisecond = 0;
};

bool decompose(double value, Parts &parts) {
    return kqs_decompose_date_milli(value, &parts.year, &parts.month, &parts.day, &parts.hour,
                                    &parts.minute, &parts.second, &parts.millisecond) != 0;
}

bool compose(Parts const &parts, double *value) {
    return kqs_compose_date_milli(parts.year, parts.month, parts.day, parts.hour, parts.minute,
                                  parts.second, parts.millisecond, value) != 0;
}

void store(int *target, int value) {
    if (target != nullptr) *target = value;
}

KqbString twoDigits(unsigned value) { return kqbStringFormat(value < 10 ? "0%lu" : "%lu", value); }

// With minutes but no hours there is neither sign nor hours.
KqbString zoneText(int hours, unsigned minutes) {
    if (hours == 0 && minutes == 0) return KqbString("Z", true);
    KqbString text;
    if (hours != 0) {
        unsigned const magnitude =
            hours < 0 ? 0U - static_cast<unsigned>(hours) : static_cast<unsigned>(hours);
        text = kqbStringFormat("%s%S", hours < 0 ? "-" : "+", twoDigits(magnitude));
    }
    return minutes == 0 ? text : kqbStringFormat("%S:%S", text, twoDigits(minutes));
}

}  // namespace

KqbDateOptions &kqbDateOptions() {
    static KqbDateOptions options;
    return options;
}

KqbDate::KqbDate(int year, int month, int day, int hour, int minute, int second) {
    null_ = kqs_compose_date(year, month, day, hour, minute, second, &value_) == 0;
}

KqbDate::KqbDate(double value) { assign(value); }

KqbDate::KqbDate(char const *text) { assign(text); }

KqbDate &KqbDate::assign(int year, int month, int day, int hour, int minute, int second,
                         int millisecond) {
    null_ = !compose({year, month, day, hour, minute, second, millisecond}, &value_);
    return *this;
}

KqbDate &KqbDate::assign(double value) {
    Parts parts;
    null_ = !decompose(value, parts) || !compose(parts, &value_);
    return *this;
}

KqbDate &KqbDate::assign(char const *text) {
    null_ = !doStrAssign(text, &value_);
    return *this;
}

bool KqbDate::doStrAssign(char const *text, double *out) {
    kqs_date_format const format = kqs_get_date_format(text);
    if (format == KQS_DATE_NONE) return false;
    Parts parts;
    int const failed =
        kqs_string_to_date_milli(text, format, &parts.year, &parts.month, &parts.day, &parts.hour,
                                 &parts.minute, &parts.second, &parts.millisecond);
    return failed == 0 && compose(parts, out);
}

void KqbDate::getElements(int *year, int *month, int *day, int *hour, int *minute, int *second,
                          int *millisecond) const {
    Parts parts;
    if (!null_) decompose(value_, parts);
    store(year, parts.year);
    store(month, parts.month);
    store(day, parts.day);
    store(hour, parts.hour);
    store(minute, parts.minute);
    store(second, parts.second);
    store(millisecond, parts.millisecond);
}

int KqbDate::getWeekDay() const {
    Parts parts;
    if (null_ || !decompose(value_, parts)) return -1;
    return kqs_weekday(parts.year, parts.month, parts.day);
}

int KqbDate::compare(KqbDate const &other) const {
    if (null_ || other.null_) return static_cast<int>(other.null_) - static_cast<int>(null_);
    if (value_ < other.value_) return -1;
    return value_ == other.value_ ? 0 : 1;
}

KqbString KqbDate::asString(bool iso, bool milliseconds) const {
    char text[kDateText];
    int const mode = !iso ? 0 : milliseconds ? 1 : 17;
    kqs_date_to_string(value_, mode, text, kDateText);
    return KqbString(text);
}

KqbString KqbDate::asString(int zoneHours, unsigned int zoneMinutes) const {
    Parts parts;
    if (!null_) decompose(value_, parts);
    auto const two = [](int part) { return twoDigits(static_cast<unsigned>(part)); };
    return kqbStringFormat("%d-%S-%ST%S:%S:%S%S", parts.year, two(parts.month), two(parts.day),
                           two(parts.hour), two(parts.minute), two(parts.second),
                           zoneText(zoneHours, zoneMinutes));
}

KqbDate KqbDate::currentDate(bool utc) {
    KqbDate date;
    date.assign(utc || kqbDateOptions().gmt ? kqs_gmtimetoday() : kqs_timetoday());
    return date;
}

bool operator<(KqbDate const &a, KqbDate const &b) {
    if (a.isNull() || b.isNull()) return a.isNull() && !b.isNull();
    return a.asDouble() < b.asDouble();
}

bool KqbDateLess::operator()(KqbDate const &a, KqbDate const &b) const { return a < b; }
