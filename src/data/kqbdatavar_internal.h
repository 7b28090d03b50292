// What the library's own code does with variants beyond the public operations.
#pragma once

#include <string_view>

#include "kqb/kqbdatavar.h"

class KqbDatavarAccess {
public:
    // Stores a text whose characters are known. False, and null, when memory ran out.
    static bool assignText(KqbDatavar &value, std::string_view text, unsigned int characters) {
        return value.storeText(text.data(), text.size(), characters);
    }

    // Stores the number of a date, which is one already. False, and null, when memory ran out.
    static bool assignDate(KqbDatavar &value, double number) {
        return value.storePlain(KqbTypeDate, &number, sizeof number, 0);
    }

    // The text of a String.
    static std::string_view text(KqbDatavar const &value) {
        return {value.text(), value.rep_->size - std::size_t{1}};
    }

    // The number of a Date.
    static double date(KqbDatavar const &value) { return value.value<double>(); }
};
