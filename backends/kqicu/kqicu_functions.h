// What the back ends call of ICU.
//
// ICU lies in a module that is loaded when one of these is first needed. It is the largest thing a
// process would map, and most processes never leave ASCII: what is ASCII, and the structure of
// UTF-8, is handled without it.
#pragma once

#include <unicode/uchar.h>
#include <unicode/ucnv.h>
#include <unicode/ustring.h>

namespace kqicu {

struct Functions {
    decltype(&u_hasBinaryProperty) hasBinaryProperty;
    decltype(&u_strFoldCase) strFoldCase;
    decltype(&u_strToLower) strToLower;
    decltype(&u_strToUpper) strToUpper;
    decltype(&ucnv_open) converterOpen;
    decltype(&ucnv_close) converterClose;
    decltype(&ucnv_setFromUCallBack) converterSetFromUCallBack;
    decltype(&ucnv_setToUCallBack) converterSetToUCallBack;
    decltype(&ucnv_fromUnicode) converterFromUnicode;
    decltype(&ucnv_toUnicode) converterToUnicode;
    decltype(&ucnv_getInvalidChars) converterGetInvalidChars;
    decltype(&ucnv_getInvalidUChars) converterGetInvalidUChars;
    decltype(&ucnv_getAlias) converterGetAlias;
};

// What the module exports: a function without arguments that gives its table.
constexpr char kTableName[] = "kqicuFunctions";
using Table = Functions const *();

// Loads the module if need be. Null when that is not possible, which standard error is told the
// first time and which is tried again the next; there is then no character with case beside the
// ASCII letters, and no encoding beside UTF-8. Any thread may call.
Functions const *functions() noexcept;

}  // namespace kqicu
