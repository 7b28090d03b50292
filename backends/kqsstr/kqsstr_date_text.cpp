// Dates from and to text.
//
// A format is found by reading the text in each of them: ISO 8601 first, then month first, day
// first and year first. The first in which every part is in its range is the text's format.
#include <cstring>
#include <string_view>

#include "backends/kqsstr/kqsstr_calendar.h"
#include "platform/kqsstr.h"

using namespace kqsstr;

namespace {

bool isBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isLetter(char c) { return (c | 0x20) >= 'a' && (c | 0x20) <= 'z'; }

// A number and how many digits it was written with.
struct Field {
    int value = 0;
    int digits = 0;

    bool isWithin(int from, int to, int maxDigits) const {
        return digits >= 1 && digits <= maxDigits && isBetween(value, from, to);
    }
};

// Takes a text apart from its start. What is not there is not taken; blanks at the end count as
// the end.
class Scanner {
public:
    explicit Scanner(char const *text) : at_(text ? text : "") { skipBlanks(); }

    bool atEnd() const {
        Scanner rest = *this;
        rest.skipBlanks();
        return *rest.at_ == '\0';
    }
    char peek() const { return *at_; }

    bool skip(char c) {
        if (*at_ != c) return false;
        ++at_;
        return true;
    }

    // One of two characters.
    bool skipEither(char c, char d) { return skip(c) || skip(d); }

    bool skipBlanks() {
        char const *const start = at_;
        while (isBlank(*at_)) ++at_;
        return at_ != start;
    }

    // The digits that stand next, at most as many as told.
    Field number(int maxDigits) {
        Field field;
        while (field.digits < maxDigits && isDigit(*at_)) {
            field.value = 10 * field.value + (*at_++ - '0');
            ++field.digits;
        }
        return field;
    }

    // Exactly two digits.
    bool twoDigits(int &value, int from, int to) {
        if (!isDigit(at_[0]) || !isDigit(at_[1])) return false;
        value = 10 * at_[0] + at_[1] - 11 * '0';
        at_ += 2;
        return isBetween(value, from, to);
    }

    std::string_view word() {
        char const *const start = at_;
        while (isLetter(*at_)) ++at_;
        return std::string_view(start, static_cast<std::size_t>(at_ - start));
    }

private:
    char const *at_;
};

bool isSameWord(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if ((a[i] ^ b[i]) & ~0x20) return false;
    }
    return true;
}

// --- Time of day ------------------------------------------------------------------------------

// Digits behind "." or "," as milliseconds; those beyond are cut off.
bool readFraction(Scanner &text, int &millisecond) {
    if (!text.skipEither('.', ',')) return true;
    if (!isDigit(text.peek())) return false;
    millisecond = 0;
    for (int unit = 100; isDigit(text.peek()); unit /= 10) {
        millisecond += unit * text.number(1).value;
    }
    return true;
}

// HH:MM, HH:MM:SS, HHMM or HHMMSS, with a fraction behind the seconds.
bool readIsoTime(Scanner &text, Moment &moment) {
    if (!text.twoDigits(moment.hour, 0, 23)) return false;
    bool const isExtended = text.skip(':');
    if (!text.twoDigits(moment.minute, 0, 59)) return false;
    bool const hasSeconds = isExtended ? text.skip(':') : isDigit(text.peek());
    if (!hasSeconds) return true;
    return text.twoDigits(moment.second, 0, 59) && readFraction(text, moment.millisecond);
}

// "Z", a sign with hours and perhaps minutes, or minutes alone, written ":30". It does not move
// the value.
bool readZone(Scanner &text) {
    if (text.atEnd() || text.skipEither('Z', 'z')) return true;
    int hours;
    int minutes;
    if (text.skip(':')) return text.twoDigits(minutes, 0, 59);
    if (!text.skipEither('+', '-') || !text.twoDigits(hours, 0, 23)) return false;
    if (!text.skip(':') && text.atEnd()) return true;
    return text.twoDigits(minutes, 0, 59);
}

// H:MM, H:MM:SS and a fraction, and AM or PM.
bool readClockTime(Scanner &text, Moment &moment) {
    Field const hour = text.number(2);
    if (!hour.isWithin(0, 23, 2) || !text.skip(':')) return false;
    if (!text.twoDigits(moment.minute, 0, 59)) return false;
    if (text.skip(':') &&
        (!text.twoDigits(moment.second, 0, 59) || !readFraction(text, moment.millisecond))) {
        return false;
    }
    moment.hour = hour.value;
    text.skipBlanks();
    if (text.atEnd()) return true;
    std::string_view const half = text.word();
    bool const isMorning = isSameWord(half, "am");
    if ((!isMorning && !isSameWord(half, "pm")) || !isBetween(hour.value, 1, 12)) return false;
    moment.hour = hour.value % 12 + (isMorning ? 0 : 12);
    return true;
}

// --- ISO 8601 ---------------------------------------------------------------------------------

// YYYY-MM-DD or YYYYMMDD. A year of fewer digits, as a date with a zone has it, is told from the
// first part of another format by the "T" behind the day.
bool readIsoDate(Scanner &text, Moment &moment, bool &needsT) {
    Field const year = text.number(4);
    moment.year = year.value;
    needsT = year.digits < 4;
    bool const isExtended = text.skip('-');
    if (!isExtended && needsT) return false;
    return isBetween(year.value, kMinYear, kMaxYear) && text.twoDigits(moment.month, 1, 12) &&
           (!isExtended || text.skip('-')) && text.twoDigits(moment.day, 1, 31);
}

// Whether a text can only be ISO: a date in the extended form with a "T" behind it. Whether it is
// right is left to reading it, so that the commonest texts are not read twice.
bool looksIso(Scanner text) {
    Field const year = text.number(4);
    int part;
    return year.digits != 0 && text.skip('-') && text.twoDigits(part, 0, 99) && text.skip('-') &&
           text.twoDigits(part, 0, 99) && text.skipEither('T', 't');
}

bool readIso(Scanner text, Moment &moment) {
    bool needsT = false;
    if (!readIsoDate(text, moment, needsT)) return false;
    if (text.atEnd()) return !needsT;
    bool const hasT = text.skipEither('T', 't');
    if (!hasT && (needsT || !text.skipBlanks())) return false;
    if (!readIsoTime(text, moment)) return false;
    text.skipBlanks();
    return readZone(text) && text.atEnd();
}

// --- Other orders -----------------------------------------------------------------------------

constexpr std::string_view kMonths[] = {"january",   "february", "march",    "april",
                                        "may",       "june",     "july",     "august",
                                        "september", "october",  "november", "december"};

// 1 to 12 for the name of a month or its first three letters, else 0.
int monthOf(std::string_view word) {
    for (int i = 0; i < 12; ++i) {
        if (isSameWord(word, kMonths[i]) || isSameWord(word, kMonths[i].substr(0, 3))) return i + 1;
    }
    return 0;
}

bool readMonth(Scanner &text, int &month, bool &isNamed) {
    isNamed = isLetter(text.peek());
    if (isNamed) return (month = monthOf(text.word())) != 0;
    Field const field = text.number(2);
    month = field.value;
    return field.isWithin(1, 12, 2);
}

bool readDay(Scanner &text, int &day) {
    Field const field = text.number(2);
    day = field.value;
    return field.isWithin(1, 31, 2);
}

// Years of one and two digits are 1950 to 2049, longer ones as written.
bool readYear(Scanner &text, int &year) {
    Field const field = text.number(4);
    if (field.digits == 0) return false;
    year = field.value;
    if (field.digits <= 2) year += year < 50 ? 2000 : 1900;
    return isBetween(year, kMinYear, kMaxYear);
}

// What separates the parts of a date: "/", "-" or ".", which must be the same in both places
// unless the month has a name. Then blanks and commas will do as well.
struct Separators {
    char seen[2] = {};
    int count = 0;

    bool read(Scanner &text) {
        char found = '\0';
        for (char const separator : {'/', '-', '.', ','}) {
            if (!found && text.skip(separator)) found = separator;
        }
        if (text.skipBlanks() && !found) found = ' ';
        seen[count++] = found;
        return found != '\0';
    }

    bool fit(bool monthIsNamed) const {
        bool const isPlain = seen[0] != ' ' && seen[0] != ',' && seen[0] == seen[1];
        return monthIsNamed || isPlain;
    }
};

// The order of the parts of a date, by their letters.
std::string_view orderOf(kqs_date_format format) {
    switch (format) {
        case KQS_DATE_MDY:
            return "MDY";
        case KQS_DATE_DMY:
            return "DMY";
        case KQS_DATE_YMD:
            return "YMD";
        default:
            return "";
    }
}

bool readDate(Scanner &text, std::string_view order, Moment &moment) {
    Separators separators;
    bool monthIsNamed = false;
    for (char const part : order) {
        if (part != order.front() && !separators.read(text)) return false;
        bool const isRead = part == 'M'   ? readMonth(text, moment.month, monthIsNamed)
                            : part == 'D' ? readDay(text, moment.day)
                                          : readYear(text, moment.year);
        if (!isRead) return false;
    }
    return separators.fit(monthIsNamed);
}

bool readOrdered(Scanner text, std::string_view order, Moment &moment) {
    if (order.empty() || !readDate(text, order, moment)) return false;
    if (text.atEnd()) return true;
    return text.skipBlanks() && readClockTime(text, moment) && text.atEnd();
}

bool read(Scanner const &text, kqs_date_format format, Moment &moment) {
    moment = {};
    return format == KQS_DATE_ISO ? readIso(text, moment)
                                  : readOrdered(text, orderOf(format), moment);
}

// --- Writing ----------------------------------------------------------------------------------

constexpr int kMode0 = 0;
constexpr int kModeIso = 1;
constexpr int kModeIsoNoMillis = 17;

// Writes numbers with leading zeros.
class Writer {
public:
    Writer &put(char c) { return buffer_[size_++] = c, *this; }
    Writer &two(int value) { return put(digit(value / 10)).put(digit(value % 10)); }
    Writer &three(int value) { return put(digit(value / 100)).two(value % 100); }
    Writer &four(int value) { return two(value / 100).two(value % 100); }

    Writer &time(Moment const &moment) {
        return two(moment.hour).put(':').two(moment.minute).put(':').two(moment.second);
    }

    int copyTo(char *buffer, int size) const {
        if (size_ >= size) return 0;
        std::memcpy(buffer, buffer_, static_cast<std::size_t>(size_));
        buffer[size_] = '\0';
        return size_;
    }

private:
    static char digit(int value) { return static_cast<char>('0' + value); }

    char buffer_[32];
    int size_ = 0;
};

void writeMonthFirst(Moment const &moment, Writer &writer) {
    writer.two(moment.month).put('/').two(moment.day).put('/').four(moment.year).put(' ');
    writer.time(moment);
    if (moment.millisecond != 0) writer.put('.').three(moment.millisecond);
}

void writeIso(Moment const &moment, bool withMillis, Writer &writer) {
    writer.four(moment.year).put('-').two(moment.month).put('-').two(moment.day).put('T');
    writer.time(moment);
    if (withMillis) writer.put('.').three(moment.millisecond);
}

}  // namespace

kqs_date_format kqs_get_date_format(char const *text) {
    Scanner const scanner(text);
    if (looksIso(scanner)) return KQS_DATE_ISO;
    Moment moment;
    for (auto const format : {KQS_DATE_ISO, KQS_DATE_MDY, KQS_DATE_DMY, KQS_DATE_YMD}) {
        if (read(scanner, format, moment)) return format;
    }
    return KQS_DATE_NONE;
}

int kqs_string_to_date_milli(char const *text, kqs_date_format format, int *year, int *month,
                             int *day, int *hour, int *minute, int *second, int *millisecond) {
    Moment moment;
    if (!read(Scanner(text), format, moment)) return 1;
    *year = moment.year;
    *month = moment.month;
    *day = moment.day;
    *hour = moment.hour;
    *minute = moment.minute;
    *second = moment.second;
    *millisecond = moment.millisecond;
    return 0;
}

int kqs_date_to_string(double value, int mode, char *buffer, int size) {
    if (!buffer || size <= 0) return 0;
    *buffer = '\0';
    bool const isKnown = mode == kMode0 || mode == kModeIso || mode == kModeIsoNoMillis;
    Moment moment;
    if (!isKnown || !decompose(value, moment)) return 0;
    Writer writer;
    if (mode == kMode0) {
        writeMonthFirst(moment, writer);
    } else {
        writeIso(moment, mode == kModeIso, writer);
    }
    return writer.copyTo(buffer, size);
}
