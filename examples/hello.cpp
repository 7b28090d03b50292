#include <cstdio>

#include "kqb/kqb.h"

static void greet() {
    KqbString temp;
    kqbGetConfigOptions("")->getOption("BASE/TEMP", &temp, true);
    std::printf("Hello from kqb %s: temporary files go to '%s'\n", KQB_VERSION, temp.asCstr());
}

int main(int, char **argv) {
    char const *error = nullptr;
    bool const up = kqbInitialize(argv[0], &error) == 0 && kqbStartup(&error, 0) == 0;
    if (up) greet();
    if (!up) std::fprintf(stderr, "%s\n", error);
    kqbShutdown();
    return up ? 0 : 1;
}
