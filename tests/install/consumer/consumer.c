/* A host in C: brings the library up, reads an option, takes it down. */
#define _POSIX_C_SOURCE 200809L
#include <kqb/kqbhost.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

int main(int count, char **arguments) {
    char program[1024];
    char home[1024];
    char const *reason = NULL;
    if (count < 2) return 2;
    setenv("KQEXEC_HOME", arguments[1], 1);
    snprintf(program, sizeof program, "%s/bin/host", arguments[1]);
    if (kqbInitialize(program, &reason) != 0) {
        fprintf(stderr, "%s\n", reason);
        return 1;
    }
    kqbStartupAddOption("GREETING", "hello", &reason);
    if (kqbStartup(&reason, KQB_STARTUP_TOLERANT) != 0) {
        fprintf(stderr, "%s\n", reason);
        return 1;
    }
    int const code = kqbGetOption(NULL, "greeting", home, (int)sizeof home);
    kqbShutdown();
    return code == 0 && strcmp(home, "hello") == 0 ? 0 : 1;
}
