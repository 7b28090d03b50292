// Descriptions of errors.
#include <clocale>
#include <cstring>

#include "platform/kqsfio.h"

// English whatever the process's locale is.
char const *np_fio_errdesc(np_fio_error error) {
    static locale_t const english = newlocale(LC_ALL_MASK, "C", locale_t{});
    if (english == locale_t{}) return "Unknown error";
    return strerror_l(error, english);
}
