// The stream over a string that a text file on a string stands on.
#pragma once

#include "kqb/kqbtxtfile.h"

// How the stream is named as the source of messages.
constexpr char kKqbStringStreamSource[] = "kqbtxtfilestring";

// A stream over target, at its start. target stays the caller's, must outlive the stream and be
// changed by nobody else meanwhile. Null when target is null or memory runs out.
KqbIORaw *kqbStringStreamCreate(KqbString *target);
