// What the files of the life cycle share: process-wide state, modules, failure texts.
#pragma once

#include <cstddef>

#include "kqb/kqbmodules.h"
#include "kqb/kqbstring.h"
#include "platform/kqlog.h"

constexpr int kKqbMaxPath = 260;       // bytes of a directory named by the host or the environment
constexpr int kKqbMessageSize = 2048;  // bytes of the start-up message buffer

// The directory part of the executable path given to initialisation.
char const *kqbModuleDirectory();

// True when initialisation set VANTOREX_ERROR_LOCATION itself.
bool kqbMessageLocationSet();

// The logger of start-up and shutdown.
KqLogger *kqbBaseLogger();

// Raises the boot level to started.
void kqbSetStarted();

// --- Failure texts ----------------------------------------------------------------------------

// Copies text into a buffer, cut at a character boundary.
void kqbSetMessage(char *buffer, int size, char const *text);

// The start-up message buffer.
char *kqbStartupMessage();

// Copies text into the start-up message buffer, points *errorMessage (may be null) at it and
// returns result.
int kqbStartupFailure(int result, char const *text, char const **errorMessage);

// --- Environment ------------------------------------------------------------------------------

// Sets a variable for as long as the library is up. What it was before comes back at shutdown, so
// that a later start finds the host's environment and not what an earlier one made of it.
void kqbSetEnvironment(char const *name, char const *value);
void kqbRestoreEnvironment();

// --- Run-time modules -------------------------------------------------------------------------

// Loads libkqbio, keeps its factory and installs it. False with a text in buffer.
bool kqbLoadTextIo(char *buffer, int size);
void kqbUnloadTextIo();

// Loads libkqbdeps unless it is loaded. False with a text in the start-up message buffer.
bool kqbLoadDependencies();
// Calls its start-up; false when it is not loaded (which is an assertion) or reports failure.
bool kqbStartDependencies(char const *executablePath);
// Calls its shutdown and unloads it, where it is loaded.
void kqbStopDependencies();
