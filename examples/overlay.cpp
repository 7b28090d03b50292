// An overlay: a user's changes lie over the installation's configuration file.
#include "kqb/kqbconfigoverlay.h"

#include <string>

#include "running_library.h"

static bool fail(KqbConfigOverlay &both) {
    std::fprintf(stderr, "%s\n", both.getErrorMessage().asCstr());
    return false;
}

static bool write(std::string const &path, char const *text) {
    std::FILE *const file = std::fopen(path.c_str(), "w");
    if (file == nullptr) return false;
    bool const written = std::fputs(text, file) >= 0;
    return std::fclose(file) == 0 && written;
}

// Key by key: what the installation says, what the user says, and why.
static void show(KqbConfigOverlay &both) {
    for (int i = 0; i < both.getEntryCount(); ++i) {
        KqbString key, base("-"), overlay("-");
        if (!both.getEntry(i, &key, &base, &overlay)) return;
        std::printf("%s: base %s, overlay %s (%s)\n", key.asCstr(), base.asCstr(), overlay.asCstr(),
                    both.getEntryComment(key).asCstr());
    }
}

static bool change(char const *base, char const *overlay) {
    KqbConfigOverlay both;
    if (!both.readBase(base) || !both.readOverlay(overlay)) return fail(both);
    both.setOverlayEntry("output", "/home/me/results");  // the base's comment comes along
    both.setOverlayEntry("Threads", "");                 // the base's value shows again
    both.setEntryComment("retries", "enough");           // the base's value comes along
    return both.writeOverlay(overlay) || fail(both);
}

static bool look(char const *base, char const *overlay) {
    KqbConfigOverlay both;
    if (!both.readBase(base) || !both.readOverlay(overlay)) return fail(both);
    show(both);
    return true;
}

int main(int argc, char **argv) {
    RunningLibrary const library(argv[0]);
    if (!library.isUp()) return 1;
    std::string const base = argc > 1 ? argv[1] : "example.cfg";
    std::string const overlay = base + ".user";
    bool const done =
        write(base, "#where results go\nOutput=/srv/results\nThreads=2\nRetries=3\n") &&
        write(overlay, "THREADS=8\n") && look(base.c_str(), overlay.c_str()) &&
        change(base.c_str(), overlay.c_str()) && look(base.c_str(), overlay.c_str());
    std::remove(base.c_str());
    std::remove(overlay.c_str());
    return done ? 0 : 1;
}
