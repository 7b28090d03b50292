// Attribute lists: one line taken apart, and options set from such a line and put back again.
#include "kqb/kqbconfigoptions.h"
#include "kqb/kqbparse.h"
#include "kqb/kqbstringcursor.h"
#include "running_library.h"

static void takeApart(char const *text) {
    KqbParse list;
    if (!list.parse(text, ';')) return;
    for (int i = 0; i < list.getAttributeCount(); ++i) {
        KqbString name, value;
        list.getAttribute(i, &name, &value);
        if (name.isNull())
            std::printf("a bare word, '%s'\n", value.asCstr());
        else
            std::printf("'%s' is '%s'\n", name.asCstr(), value.asCstr());
    }
}

static void showColor(char const *when) {
    KqbString color;
    bool const isSet = kqbGetConfigOptions("")->getOption("COLOR", &color, true);
    std::printf("%s: %s\n", when, isSet ? color.asCstr() : "not set");
}

// What was there before comes back; what was not there goes.
static bool setForAWhile(char const *text) {
    char const *error = nullptr;
    KqbStringCursor *previousValues = nullptr;
    KqbStringCursor *newKeys = nullptr;
    if (kqbStartupSetParsedOptions(text, &previousValues, &newKeys, &error) != 0) return false;
    showColor("while set");
    bool const undone = kqbStartupSetOptions(previousValues, &error) == 0 &&
                        kqbStartupDeleteOptions(newKeys, &error) == 0;
    previousValues->release();
    newKeys->release();
    return undone;
}

int main(int, char **argv) {
    RunningLibrary const library(argv[0]);
    if (!library.isUp()) return 1;
    takeApart("size=3; title = 50%25%3B net ;;max(a=b)=7;verbose;");
    showColor("before");
    if (!setForAWhile("color=red;SIZE=3")) return 1;
    showColor("afterwards");
    return 0;
}
