// Who there is: the account of this process, and the list of users that it is in.
#include "kqb/kqbsubject.h"

#include <cstdio>

#include "running_library.h"

static bool holds(KqbStringCursor *users, KqbString const &id) {
    while (users->next() == KqbCursorRow) {
        if (users->getValue(1).compare(id) == 0) return true;
    }
    return false;
}

int main(int, char **argv) {
    RunningLibrary const library(argv[0]);
    if (!library.isUp()) return 1;

    // Without a directory the operating system vouches for the account, and no password is needed.
    KqbString error;
    bool const signedOn = kqbSubjectSignOn("", "", "", &error);
    std::printf("%s\n", signedOn ? "signed on" : error.asCstr());

    KqbStringCursor *const users = kqbSubjectListSubjects("", &error);
    if (users == nullptr) {
        std::printf("%s\n", error.asCstr());
        return 1;
    }
    bool const found = holds(users, kqbSubjectGetID());
    std::printf("the process's account is%s in the list of users\n", found ? "" : " not");
    users->release();
    kqbSubjectSignOff();
    return 0;
}
