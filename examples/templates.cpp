// Templates: a text with variables, expanded with values that a callback looks up.
#include "kqb/kqbtemplate.h"

#include <cstring>

#include "running_library.h"

class Letter : public KqbTemplateValueCB {
public:
    bool getValue(KqbString const &name, KqbString *value, KqbString *error) override {
        std::printf("asked for '%s'\n", name.asCstr());
        if (std::strcmp(name.asCstr(), "name") == 0) {
            value->assign("Ms Keller");
            return true;
        }
        error->assign("there is no ").append(name);
        return false;
    }
};

static void expandTwice(KqbTemplate *letter) {
    KqbString error;
    for (int i = 0; i < 2; ++i) std::printf("%s\n", letter->expand(&error).asCstr());
}

int main(int, char **argv) {
    RunningLibrary const library(argv[0]);
    Letter values;
    KqbString error;
    KqbTemplate *const letter = kqbCreateBasicTemplate(&values, &error);
    letter->parse("Dear {name}, {{braces}} are doubled", &error);
    expandTwice(letter);
    letter->parse("[total]", &error);
    if (letter->expand(&error).isNull()) std::printf("error: %s\n", error.asCstr());
    if (!letter->parse("a } alone", &error)) std::printf("error: %s\n", error.asCstr());
    letter->release();
    return 0;
}
