// Text: characters, sharing, case, searching, numbers, formatting.
#include "kqb/kqbstring.h"

#include "kqb/kqbstringformat.h"
#include "running_library.h"

static void countCharacters() {
    KqbString const street("Straße");
    std::printf("%s: %u characters in %u bytes\n", street.asCstr(), street.length(),
                street.cStrSize() - 1);
}

static void shareAndChange() {
    KqbString const original("Grüße");
    KqbString copy = original;  // shares the text
    copy.uppercase();           // makes it the copy's own
    std::printf("%s, and still %s\n", copy.asCstr(), original.asCstr());
    std::printf("without regard to case they are %s\n",
                copy.compare(original, false) == 0 ? "equal" : "different");
}

static void searchAndCut() {
    KqbString const path("naïve/plan.txt");
    int const slash = path.find("/");
    KqbString const folder = path.mid(0, slash);
    std::printf("folder '%s', file '%s'\n", folder.asCstr(),
                path.mid(static_cast<unsigned int>(slash) + 1).asCstr());
    std::printf("%s\n", path.replace(".txt", ".bak").asCstr());
}

static void readNumbers() {
    bool error = false;
    int const number = KqbString(" 42 ").asInt(&error);
    std::printf("%d, %s\n", number, error ? "error" : "no error");
    KqbString("42 apples").asInt(&error);
    std::printf("'42 apples' gives %s\n", error ? "an error" : "a number");
}

static void format() {
    KqbString const what("rows");
    std::printf("%s\n", kqbStringFormat("%lld %S, %g %%", 1234567LL, what, 99.5).asCstr());
}

int main(int, char **argv) {
    RunningLibrary const library(argv[0]);
    if (!library.isUp()) return 1;
    countCharacters();
    shareAndChange();
    searchAndCut();
    readNumbers();
    format();
    return 0;
}
