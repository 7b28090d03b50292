// Variants: values of any type, conversions that tell their errors, types by name.
#include "kqb/kqbdatavar.h"
#include "running_library.h"

static void show(KqbDatavar const &value) {
    std::printf("%-7s '%s'", kqbTypeToString(value.type()), value.asString().asCstr());
    bool error = false;
    int const number = value.asInt(&error);
    if (error) {
        std::printf(", no integer\n");
    } else {
        std::printf(", as an integer %d\n", number);
    }
}

int main(int, char **argv) {
    RunningLibrary const library(argv[0]);
    if (!library.isUp()) return 1;

    KqbDatavar value;
    show(value.assign(42));
    show(value.assign("42 apples"));
    show(value.assign(KqbReal("-1.5")));
    show(value.assign(true));

    // A field of a text file, by the type of its column.
    char const field[] = "17.25,";
    kqbType const column = kqbTypeFromString("Real");
    if (value.build(column, field, 5)) show(value);

    KqbDatavar const copy = value;  // shares the value
    value.truncate(0, 0);           // does nothing to what is no text
    value.setType(KqbTypeString);
    value.truncate(2, -1);
    show(value);
    show(copy);
    return 0;
}
