// The process's environment and locale.
#include <langinfo.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

#include "backends/text_buffer.h"
#include "platform/kqssys.h"

int np_env_get(char const *name, char *buffer, int size) {
    if (buffer == nullptr || size <= 0) return -1;
    *buffer = '\0';
    char const *const value = name == nullptr ? nullptr : std::getenv(name);
    if (value == nullptr) return -1;
    std::string_view const text = value;
    if (text.size() >= static_cast<std::size_t>(size)) return -1;
    kqbackend::copyText(text, buffer, size);
    return static_cast<int>(text.size());
}

int np_env_set(char const *name, char const *value) {
    if (name == nullptr) return 1;
    int const result = value == nullptr ? unsetenv(name) : setenv(name, value, 1);
    return result == 0 ? 0 : 1;
}

char const *const *np_env_entries() {
    static char const *const none[] = {nullptr};
    return environ == nullptr ? none : environ;  // null after clearenv
}

char const *np_lcinfo_charset() { return nl_langinfo(CODESET); }
