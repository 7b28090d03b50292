#include "output.h"

#include <iostream>

std::string toText(KqbString const &string) { return {string.asCstr(), string.cStrSize() - 1}; }

nlohmann::ordered_json toJson(KqbString const &string) {
    if (string.isNull()) return nullptr;
    return toText(string);
}

void printLine(std::string const &text) { std::cout << text << '\n'; }

void printJson(nlohmann::ordered_json const &value) {
    printLine(value.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
}

void finishOutput() {
    if (!std::cout.flush()) throw Failure(kLibraryFailure, "standard output cannot be written");
}
