// Keeps the library up for a scope, as a host does.
#pragma once

#include <cstdio>

#include "kqb/kqbhost.h"

// Strings and other values must end before this object does: declare it first.
class RunningLibrary {
public:
    // program: argv[0]. stage, if any, runs between the two stages of start-up.
    explicit RunningLibrary(char const *program, int (*stage)(char const **error) = nullptr) {
        char const *error = nullptr;
        up_ = kqbInitialize(program, &error) == 0 && (stage == nullptr || stage(&error) == 0) &&
              kqbStartup(&error, 0) == 0;
        if (!up_) std::fprintf(stderr, "%s\n", error != nullptr ? error : "out of memory");
    }
    ~RunningLibrary() { kqbShutdown(); }
    RunningLibrary(RunningLibrary const &) = delete;
    RunningLibrary &operator=(RunningLibrary const &) = delete;

    bool isUp() const { return up_; }

private:
    bool up_ = false;
};
