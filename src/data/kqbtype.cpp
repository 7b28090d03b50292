// kqbType: the names of the types.
#include "kqb/kqbdatavar.h"
#include "platform/kqschr.h"

namespace {

struct Row {
    char const *name;
    kqbType type;
    int dateOrder;
};

// Look-ups go from the top, so the first name of a type is the one it is written by.
constexpr Row kRows[] = {
    {"Unknown", KqbTypeUnknown, 0}, {"Boolean", KqbTypeBoolean, 0}, {"Integer", KqbTypeInteger, 0},
    {"Real", KqbTypeReal, 0},       {"String", KqbTypeString, 0},   {"Date", KqbTypeDate, 0},
    {"Date (MDY)", KqbTypeDate, 0}, {"Date (DMY)", KqbTypeDate, 1}, {"Date (YMD)", KqbTypeDate, 2},
    {"Binary", KqbTypeBinary, 0},
};

}  // namespace

char const *kqbTypeToString(kqbType type) {
    for (Row const &row : kRows) {
        if (row.type == type) return row.name;
    }
    return "";
}

kqbType kqbTypeFromString(char const *name) { return kqbTypeFromString(name, nullptr); }

kqbType kqbTypeFromString(char const *name, int *dateOrder) {
    if (dateOrder != nullptr) *dateOrder = 0;
    for (Row const &row : kRows) {
        if (np_uchar_icomp(name, row.name) != 0) continue;
        if (dateOrder != nullptr) *dateOrder = row.dateOrder;
        return row.type;
    }
    return KqbTypeUnknown;
}
