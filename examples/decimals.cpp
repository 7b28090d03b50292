// Decimals: exact sums, rounding that shows, text.
#include "kqb/kqbreal.h"
#include "running_library.h"

static void addExactly() {
    KqbReal sum(0);
    for (int i = 0; i < 10; ++i) sum += 0.1;
    std::printf("ten times 0.1 is %s\n", sum.asString().asCstr());
}

// The left operand tells whether the result was rounded.
static void divide(KqbReal left, KqbReal const &right) {
    bool error = false;
    KqbReal const quotient = left.divide(right, &error);
    std::printf("%s / %s = %s%s\n", left.asString().asCstr(), right.asString().asCstr(),
                quotient.asString(20).asCstr(),
                error              ? ", an error"
                : left.truncated() ? ", rounded"
                                   : "");
}

static void roundPrices() {
    KqbReal price;
    price.assign("19.995");
    std::printf("%s is %s to the cent\n", price.asString().asCstr(),
                price.round(2).asString().asCstr());
}

static void readText() {
    char const *const texts[] = {" 12.50", "12,50"};
    for (char const *text : texts) {
        KqbReal const number(text);
        std::printf("'%s' is %s\n", text,
                    number.isNull() ? "no number" : number.asString().asCstr());
    }
}

int main(int, char **argv) {
    RunningLibrary const library(argv[0]);
    if (!library.isUp()) return 1;
    addExactly();
    divide(1, 8);
    divide(2, 3);
    divide(1, 0);
    roundPrices();
    readText();
    return 0;
}
