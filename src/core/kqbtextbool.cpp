#include "core/kqbtextbool_internal.h"

#include "platform/kqschr.h"

namespace {

struct Word {
    char const *text;
    bool value;
};

constexpr Word kWords[] = {
    {"TRUE", true},   {"T", true},  {"YES", true}, {"Y", true},  {"ON", true},
    {"FALSE", false}, {"F", false}, {"NO", false}, {"N", false}, {"OFF", false},
};

}  // namespace

bool kqbTextToBool(char const *text, bool *value) {
    *value = false;
    if (text == nullptr) return false;
    if (*text >= '0' && *text <= '9') {
        *value = *text != '0';
        return true;
    }
    for (Word const &word : kWords) {
        if (np_uchar_icomp(text, word.text) != 0) continue;
        *value = word.value;
        return true;
    }
    return false;
}
