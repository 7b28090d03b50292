// The process-wide text IO factory: installed by initialisation, used by the open functions.
#pragma once

#include "kqb/kqbmodules.h"

// Null while the library is down.
KqbTextIoFactory *kqbTextIoFactory();
void kqbSetTextIoFactory(KqbTextIoFactory *factory);
