// Value types by name.
#pragma once

#include <string>

#include "kqb/kqbdatavar.h"

// The type of a name, in any letter case, and unless it is null the order of its dates' parts. A
// Failure when there is none (type_command.cpp).
kqbType findType(std::string const &name, int *dateOrder);
