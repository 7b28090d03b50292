// The character library's converter with its end in sight.
#pragma once

#include <memory>

#include "platform/kqschr.h"

namespace kqbio {

struct CloseConverter {
    void operator()(np_uchar_converter *converter) const { np_uchar_converter_close(converter); }
};
using Converter = std::unique_ptr<np_uchar_converter, CloseConverter>;

inline Converter openConverter(int encoding) {
    return Converter(np_uchar_converter_open(encoding));
}

}  // namespace kqbio
