// Truth values as text, the one reading of them for options and variants.
#pragma once

// Without regard to letter case "TRUE", "T", "YES", "Y", "ON" are true and "FALSE", "F", "NO", "N",
// "OFF" are false; otherwise a first character 0 is false and any other decimal digit true.
// Returns false for anything else (and null), *value then being false.
bool kqbTextToBool(char const *text, bool *value);
