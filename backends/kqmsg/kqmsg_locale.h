// Locale names as users write them, and the bundles they are looked for in.
#pragma once

#include <string>
#include <vector>

namespace kqmsg {

constexpr char kRoot[] = "root";

// The bundles for a locale name, the first to be asked first: the locale, its language, root.
// "de_AT", "de-at" and "de_AT.UTF-8" are one; null, "", "C" and "POSIX" are root alone. False when
// name is no locale name; *chain is then as it was.
bool parseLocale(char const *name, std::vector<std::string> *chain);

}  // namespace kqmsg
