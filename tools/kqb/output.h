// How the tool answers: exit codes, failures, and values as text or JSON.
#pragma once

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

#include "kqb/kqbstring.h"

// What the tool's exit code says; --help lists them.
enum ExitCode { kOk = 0, kLibraryFailure = 1, kUsage = 2, kNotFound = 3 };

// Ends a command: main() writes the text to standard error and exits with the code.
class Failure : public std::runtime_error {
public:
    Failure(ExitCode code, std::string const &text) : std::runtime_error(text), code_(code) {}
    ExitCode code() const { return code_; }

private:
    ExitCode code_;
};

// The bytes of a string; "" for null.
std::string toText(KqbString const &string);

// The string as a JSON value; null for null.
nlohmann::ordered_json toJson(KqbString const &string);

// One line of text, or one JSON document. Bytes that are not UTF-8 go out as they are in text and
// as U+FFFD in JSON.
void printLine(std::string const &text);
void printJson(nlohmann::ordered_json const &value);

// Hands everything printed to standard output; a Failure when that could not take it.
void finishOutput();
