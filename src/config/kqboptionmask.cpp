#include <algorithm>

#include "core/kqbstring_internal.h"
#include "kqb/kqbconfigoptions.h"

namespace {

constexpr char kMask[] = "********";

// The place of a password inside a server location: behind "pass=", up to "," or "/".
bool findPassword(KqbString const &value, std::size_t *begin, std::size_t *end) {
    std::string_view const text = KqbStringAccess::view(value);
    static constexpr std::string_view kMarker = "pass=";
    auto const lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
    // The marker is ASCII, so an ASCII comparison finds it where a lower-case copy would show it,
    // at the place it has in the value itself.
    for (std::size_t i = 0; i + kMarker.size() <= text.size(); ++i) {
        std::size_t matched = 0;
        while (matched < kMarker.size() && lower(text[i + matched]) == kMarker[matched]) ++matched;
        if (matched < kMarker.size()) continue;
        if (i == 0) return false;
        *begin = i + kMarker.size();
        *end = std::min(text.find_first_of(",/", *begin), text.size());
        return true;
    }
    return false;
}

KqbString maskLocation(KqbString const &value) {
    std::size_t begin;
    std::size_t end;
    if (!findPassword(value, &begin, &end)) return value;
    std::string_view const text = KqbStringAccess::view(value);
    KqbString masked;
    // Nothing is shown rather than the password when memory runs out.
    if (!KqbStringAccess::append(masked, text.substr(0, begin)) ||
        !KqbStringAccess::append(masked, kMask) ||
        !KqbStringAccess::append(masked, text.substr(end))) {
        masked.setNull();
    }
    return masked;
}

}  // namespace

KqbString kqbMaskOptionValue(KqbString const &key, KqbString const &value) {
    if (key.compare("BASE/AUTH_SERVER_PASS", false) == 0 || key.compare("METAPASS", false) == 0) {
        return KqbString(kMask, true);
    }
    if (key.compare("BASE/AUTH_SERVER_LOC", false) == 0) return maskLocation(value);
    return value;
}
