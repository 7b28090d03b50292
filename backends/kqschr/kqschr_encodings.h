// Encodings by number.
#pragma once

#include <memory>

#include "backends/kqicu/kqicu_functions.h"

namespace kqschr {

struct CloseConverter {
    void operator()(UConverter *converter) const { kqicu::functions()->converterClose(converter); }
};
using IcuConverter = std::unique_ptr<UConverter, CloseConverter>;

// Whether the number stands for UTF-8, which needs no converter.
bool isUtf8(int encoding);

// ICU's converter of an encoding, which stops at what it cannot convert; null when the number is
// unknown or memory is missing.
IcuConverter openIcuConverter(int encoding);

}  // namespace kqschr
