// Running out of memory: thrown inside this floor, told by a result at its boundary.
#pragma once

#include <new>
#include <stdexcept>
#include <string_view>

#include "core/kqbmemoryfailures_internal.h"
#include "core/kqbstring_internal.h"

// Runs an operation. False when memory ran out in it, or a container met its limit.
template <class Operation>
bool kqbWithMemory(Operation const &operation) {
    try {
        operation();
        return true;
    } catch (std::bad_alloc const &) {
    } catch (std::length_error const &) {
    }
    kqbNoteMemoryFailure();
    return false;
}

// What get returns. A null text may be the answer or stand for memory that ran out, in which case
// this throws std::bad_alloc.
template <class Get>
KqbString kqbFetched(Get const &get) {
    unsigned const failures = kqbMemoryFailures();
    KqbString text = get();
    if (text.isNull() && kqbMemoryFailures() != failures) throw std::bad_alloc();
    return text;
}

// A string of these bytes, never null. Throws std::bad_alloc.
inline KqbString kqbStringOf(std::string_view bytes) {
    if (bytes.empty()) return KqbString("", true);
    KqbString string;
    if (!KqbStringAccess::assign(string, bytes)) throw std::bad_alloc();
    return string;
}
