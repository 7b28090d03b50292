// Values put into command lines for /bin/sh.
#pragma once

#include <string>
#include <string_view>

// Replaces every placeholder in a command line by a value that the shell reads as the bytes it is
// made of. The header of KqbEmail says where that is refused; *refusal is then the reason, a constant,
// and null otherwise. Throws std::bad_alloc.
std::string kqbFilledForShell(std::string_view line, std::string_view placeholder,
                              std::string_view value, char const **refusal);
