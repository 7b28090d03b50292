// Options: what the host imposes, references in values, a registry of one's own.
#include "kqb/kqbconfigoptions.h"

#include "running_library.h"

// What the host wants of start-up is said before it.
static int stage(char const **error) {
    int const result = kqbStartupAddOption("EXAMPLE/ROOT", "/srv/example", error);
    if (result != 0) return result;
    return kqbStartupAddOption("EXAMPLE/CACHE", "%%EXAMPLE/ROOT%%/cache", error);
}

static void look() {
    KqbConfigOptions *const options = kqbGetConfigOptions("");
    KqbString stored, expanded;
    options->getOption("example/cache", &stored, false);
    options->getOption("example/cache", &expanded, true);
    std::printf("stored %s, meaning %s\n", stored.asCstr(), expanded.asCstr());
    KqbString missing;
    if (!options->getOption("EXAMPLE/NONE", &missing, false) && missing.isNull())
        std::printf("EXAMPLE/NONE is not set\n");
}

static void keepOwnRegistry() {
    KqbConfigOptions *const own = kqbGetConfigOptions("example");
    own->setOption("Color", "blue");
    own->setOption("COLOR", "red");  // the same option, listed under its first form
    KqbString key, value;
    for (int i = 0; own->getOptionAt(i, &key, &value, false); ++i)
        std::printf("%s is %s\n", key.asCstr(), value.asCstr());
    kqbClearConfigOptions("example");
}

static void showToPeople() {
    std::printf("METAPASS=%s\n", kqbMaskOptionValue("METAPASS", "secret").asCstr());
}

int main(int, char **argv) {
    RunningLibrary const library(argv[0], stage);
    if (!library.isUp()) return 1;
    look();
    keepOwnRegistry();
    showToPeople();
    return 0;
}
