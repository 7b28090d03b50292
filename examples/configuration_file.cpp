// A configuration file is read, changed and written; what is not touched stays as it was.
#include "kqb/kqbconfigfile.h"

#include "kqb/kqbtxtfile.h"
#include "running_library.h"

static bool fail(char const *what, KqbString const &reason) {
    std::fprintf(stderr, "%s: %s\n", what, reason.asCstr());
    return false;
}

static bool writeFirstVersion(char const *path) {
    KqbString error;
    KqbTxtFile *const file = kqbTxtFileOpen(path, KqbTxtFileWrite, -1, 0, &error);
    if (file == nullptr) return fail("open", error);
    bool const written = file->writeln("# written by hand") && file->writeln("") &&
                         file->writeln("# where results go") &&
                         file->writeln("Output = /srv/results") && file->writeln("Threads = 2") &&
                         file->close();
    if (!written) fail("write", file->getErrorMessage());
    file->release();
    return written;
}

static bool change(char const *path) {
    KqbConfigFile file;
    if (!file.read(path)) return fail("read", file.getErrorMessage());
    std::printf("%s: %s\n", file.getEntryComment("output").asCstr(),
                file.getEntry("OUTPUT").asCstr());
    file.setEntry("threads", "8");
    file.setEntry("Retries", "3");
    file.setEntryComment("Retries", " before giving up");
    file.deleteEntry("Output");
    return file.write(path) || fail("write", file.getErrorMessage());
}

static bool print(char const *path) {
    KqbString error;
    KqbTxtFile *const file = kqbTxtFileOpen(path, KqbTxtFileRead, -1, 0, &error);
    if (file == nullptr) return fail("open", error);
    KqbString line;
    bool end = false;
    bool good = true;
    while ((good = file->readln(&line, 0, &end)) && !end) std::printf("| %s\n", line.asCstr());
    file->release();
    return good;
}

int main(int argc, char **argv) {
    RunningLibrary const library(argv[0]);
    if (!library.isUp()) return 1;
    char const *const path = argc > 1 ? argv[1] : "example.cfg";
    bool const done = writeFirstVersion(path) && change(path) && print(path);
    std::remove(path);
    return done ? 0 : 1;
}
