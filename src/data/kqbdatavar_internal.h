// What the library's own code does with variants beyond the public operations.
#pragma once

#include <cstring>
#include <string_view>

#include "core/kqbcopy_internal.h"
#include "core/kqbstring_internal.h"
#include "kqb/kqbdatavar.h"
#include "platform/kqschr.h"

// Assigning goes straight into a value of the same type that nobody shares.
class KqbDatavarAccess {
public:
    // Store a text that lies elsewhere, whose characters may be known. False, and null, when memory
    // ran out.
    static bool assignText(KqbDatavar &value, std::string_view text, unsigned int characters) {
        if (!makeRoom(value, text.size())) return false;
        kqbCopy(value.data(), text.data(), text.size());
        value.finishText(text.size(), characters);
        return true;
    }
    static bool assignText(KqbDatavar &value, std::string_view text) {
        if (!makeRoom(value, text.size())) return false;
        bool const isAscii = kqbCopyIsAscii(value.data(), text.data(), text.size());
        value.finishText(text.size(), isAscii ? static_cast<unsigned int>(text.size())
                                              : np_uchar_length_n(text.data(), text.size()));
        return true;
    }

    // Stores the number of a date, which is one already. False, and null, when memory ran out.
    static bool assignDate(KqbDatavar &value, double number) {
        if (!value.isAlone(KqbTypeDate)) {
            return value.storePlain(KqbTypeDate, &number, sizeof number, 0);
        }
        *static_cast<double *>(value.rep_->data) = number;
        return true;
    }

    // Stores a decimal from its words, which are no NaN. False, and null, when memory ran out.
    static bool assignReal(KqbDatavar &value, void const *bytes) {
        unsigned long long words[3];
        std::memcpy(words, bytes, sizeof words);
        if (!value.isAlone(KqbTypeReal)) return value.storeReal(KqbReal().assign(&words, false));
        static_cast<KqbReal *>(value.rep_->data)->assign(&words, false);
        return true;
    }

    // The text of a String.
    static std::string_view text(KqbDatavar const &value) {
        return {value.text(), value.rep_->size - std::size_t{1}};
    }

    // The number of a Date, and the decimal of a Real.
    static double date(KqbDatavar const &value) { return value.value<double>(); }
    static KqbReal const &real(KqbDatavar const &value) { return value.value<KqbReal>(); }

private:
    static bool makeRoom(KqbDatavar &value, std::size_t bytes) {
        if (value.hasRoom(bytes)) return true;
        if (bytes <= kKqbStringMaxBytes) {
            return value.storePlain(KqbTypeString, "", 0, KqbDatavar::roomFor(bytes + 1));
        }
        value.setNull();
        return false;
    }
};
