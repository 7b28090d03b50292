// The module itself: everything in it is ICU's.
#include "backends/kqicu/kqicu_functions.h"

extern "C" [[gnu::visibility("default")]] kqicu::Functions const *kqicuFunctions() {
    static constexpr kqicu::Functions table = {
        u_hasBinaryProperty, u_strFoldCase,  u_strToLower,          u_strToUpper,
        ucnv_open,           ucnv_close,     ucnv_setFromUCallBack, ucnv_setToUCallBack,
        ucnv_fromUnicode,    ucnv_toUnicode, ucnv_getInvalidChars,  ucnv_getInvalidUChars,
        ucnv_getAlias,
    };
    return &table;
}
