// The generic URI.
#include "uri/kquri_internal.h"

#include "uri/kquripath_internal.h"

void KqURIImpl::assign(KqbString const &scheme, KqbString const &host, KqbString const &path,
                       KqbString const &query, KqbString const &fragment) {
    fields_.scheme = scheme;
    fields_.host = host;
    fields_.path = kqbReplacedBytes(path, '\\', '/');
    fields_.query = query;
    fields_.fragment = fragment;
}

void KqURIImpl::writeAuthority(KqURIText &text) {
    bool const hasScheme = !kqbIsAbsent(fields_.scheme);
    if (hasScheme) text.add(fields_.scheme).add(':');
    if (hasScheme || !kqbIsAbsent(fields_.host)) text.add("//").add(fields_.host);
    text.add('/');
}

void KqURIImpl::writeText(KqURIText &text) {
    writeAuthority(text);
    text.add(fields_.path);
}

void KqURIImpl::writeEscaped(KqURIText &text) {
    writeAuthority(text);
    kqbAddComponent(text, fields_.path, kKqURIPathEscapes);
    kqbAddMarked(text, '?', fields_.query, kKqURIQueryEscapes);
    kqbAddMarked(text, '#', fields_.fragment, kKqURIFragmentEscapes);
}
