// Unique identifiers.
#include <uuid/uuid.h>

#include "platform/kqssys.h"

int np_uniq_s64(char *buffer, int size) {
    if (buffer == nullptr || size < UUID_STR_LEN) return 1;
    uuid_t id;
    uuid_generate_random(id);
    uuid_unparse_lower(id, buffer);
    return 0;
}
