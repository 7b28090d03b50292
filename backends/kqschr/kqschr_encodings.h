// Encodings by number.
#pragma once

#include <unicode/ucnv.h>

#include <memory>

namespace kqschr {

struct CloseConverter {
    void operator()(UConverter *converter) const { ucnv_close(converter); }
};
using IcuConverter = std::unique_ptr<UConverter, CloseConverter>;

// Whether the number stands for UTF-8, which needs no converter.
bool isUtf8(int encoding);

// ICU's converter of an encoding, which stops at what it cannot convert; null when the number is
// unknown or memory is missing.
IcuConverter openIcuConverter(int encoding);

}  // namespace kqschr
