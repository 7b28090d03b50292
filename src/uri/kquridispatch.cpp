// The factories that know every kind of URI.
#include <string_view>

#include "kqb/kqdatauri.h"
#include "uri/kqdatauri_internal.h"
#include "uri/kqhdpuri_internal.h"
#include "uri/kqreposuri_internal.h"
#include "uri/kqrzsrefuri_internal.h"
#include "uri/kquri_internal.h"
#include "uri/kqwturi_internal.h"

namespace {

using std::string_view;

template <class Impl>
KqURI *parse(KqbString const &text) {
    return kqbMakeURI<Impl>([&](Impl &uri) { uri.parse(text); });
}

struct Kind {
    string_view scheme;
    KqURI *(*parse)(KqbString const &text);
};

// By how a text begins, letter case included; the generic kind takes the rest.
constexpr Kind kKinds[] = {
    {"kqr", parse<KqReposURIImpl>}, {"kqd", parse<KqDataURIImpl>},
    {"kqf", parse<KqDataURIImpl>},  {"kqwt", parse<KqWorkTableURIImpl>},
    {"hadoop", kqbParseHadoopURI},  {"rzsref", parse<KqRZSRefURIImpl>},
};

// By the scheme as a word. Data sources alone mind its letter case.
bool isWord(KqbString const &scheme, char const *word) { return scheme.compare(word, false) == 0; }
bool isDataWord(KqbString const &scheme) {
    return scheme.compare("kqd") == 0 || scheme.compare("kqf") == 0;
}

}  // namespace

KqURI *getURIFromURIString(KqbString const &text) {
    string_view const bytes = KqbStringAccess::view(text);
    std::size_t const separator = bytes.find("://");
    if (separator == string_view::npos || separator == 0) return nullptr;
    string_view const scheme = bytes.substr(0, separator);
    for (Kind const &kind : kKinds) {
        if (kind.scheme == scheme) return kind.parse(text);
    }
    return parse<KqURIImpl>(text);
}

KqURI *getFullURI(KqbString const &scheme, KqbString const &host, KqbString const &path,
                  KqbString const &query, KqbString const &fragment) {
    KqbString const none;
    if (isWord(scheme, "kqr")) return getReposURIFromComponents(host, path, none);
    if (isDataWord(scheme)) {
        return getDataURIFromComponents(scheme, host, path, none, none, none, none, none);
    }
    if (isWord(scheme, "kqwt")) return getWorkTableURIFromComponents(path);
    if (isWord(scheme, "rzsref")) return getRZSRefURIFromComponents(host, path, query);
    return kqbMakeURI<KqURIImpl>(
        [&](KqURIImpl &uri) { uri.assign(scheme, host, path, query, fragment); });
}

KqURI *getURI(KqbString const &scheme, KqbString const &host, KqbString const &path) {
    return getFullURI(scheme, host, path, KqbString(), KqbString());
}
