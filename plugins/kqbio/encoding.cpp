#include "plugins/kqbio/encoding.h"

#include <string_view>

#include "platform/kqschr.h"

namespace kqbio {

namespace {

struct Mark {
    std::string_view bytes;
    int encoding;
};

// In this order: the mark of UTF-16LE begins the one of UTF-32LE.
constexpr Mark kMarks[] = {
    {{"\xEF\xBB\xBF", 3}, NP_ENC_UTF8},    {{"\xFF\xFE\0\0", 4}, NP_ENC_UTF32LE},
    {{"\0\0\xFE\xFF", 4}, NP_ENC_UTF32BE}, {{"\xFF\xFE", 2}, NP_ENC_UTF16LE},
    {{"\xFE\xFF", 2}, NP_ENC_UTF16BE},
};

}  // namespace

int encodingOfMark(char const *data, std::size_t size) {
    std::string_view const start(data, size);
    for (Mark const &mark : kMarks) {
        if (start.substr(0, mark.bytes.size()) == mark.bytes) return mark.encoding;
    }
    return NP_ENC_UNKNOWN;
}

bool isUtf8(int encoding) {
    return encoding == NP_ENC_UNKNOWN || encoding == NP_ENC_UTF8 || encoding == NP_ENC_NARROW;
}

}  // namespace kqbio
