// Texts from the message catalogues.
#pragma once

#include <initializer_list>

#include "kqb/kqbstring.h"

// The catalogues of the library.
#define KQB_BASE_SERVICES "Base Services"
#define KQB_EVENT_PLUGIN "Event Plugin"

// The text of a message with {0}, {1} ... replaced by the arguments, in the locale set at start-up
// or by kqbSetMessageLocale. source names the reporting source file; it shows only at message
// level 2. A message that no catalogue has, or a call before kqbStartup brought the catalogues
// up, gives a plain English text with catalogue, number and arguments: the result is never null
// unless memory ran out. Any thread may call.
KQB_API KqbString kqb_get_message(char const *catalog, int number, char const *source,
                                  std::initializer_list<KqbString> arguments = {});

// The text as the catalogue has it, arguments unfilled; null when there is none.
KQB_API KqbString kqb_get_fragment(char const *catalog, int number);

// Sets the locale of later messages ("de", "de_AT"); null or empty: English. False when that is no
// locale name. May be called any time after start-up, from any thread.
KQB_API bool kqbSetMessageLocale(char const *locale);
