// Passphrases come from a file or the terminal, never from the command line, which others can see.
#pragma once

#include <string>

#include "kqb/kqbstring.h"

// The first line of a file; with an empty path what is typed at the terminal without being shown, with
// confirm twice. A Failure when there is neither, or no passphrase in it.
void readPassphrase(std::string const &path, bool confirm, KqbString &passphrase);
