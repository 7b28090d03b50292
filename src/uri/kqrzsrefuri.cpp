#include "uri/kqrzsrefuri_internal.h"

#include "uri/kquriresult_internal.h"

namespace {

constexpr char kScheme[] = "rzsref";

}  // namespace

KqRZSRefURIImpl::KqRZSRefURIImpl() { fields_.scheme = KqbString(kScheme, true); }

void KqRZSRefURIImpl::parse(KqbString const &text) {
    KqbString const scheme = fields_.scheme;
    fields_.parse(text);
    fields_.scheme = scheme;
}

void KqRZSRefURIImpl::assign(KqbString const &host, KqbString const &path, KqbString const &query) {
    fields_.host = host;
    fields_.path = path;
    fields_.query = query;
}

KqRZSRefURI *KqRZSRefURIImpl::getParent() {
    if (kqbIsAbsent(fields_.path)) return nullptr;
    return kqbMakeURI<KqRZSRefURIImpl>([&](KqRZSRefURIImpl &uri) {
        std::string_view const path = KqbStringAccess::view(fields_.path);
        uri.assign(fields_.host, kqbStringOf(kqbParentPath(path)), KqbString());
    });
}

KqbString KqRZSRefURIImpl::getHostlessURIString() {
    return composed([this](KqURIText &text) {
        bool const hasScheme = !kqbIsAbsent(fields_.scheme);
        text.add(hasScheme ? fields_.scheme : KqbString(kScheme, true)).add(":///");
        text.add(fields_.path);
        // Kept as programs know it: the form without a scheme has room for a type, never filled.
        if (!hasScheme) text.add("()");
        if (!kqbIsAbsent(fields_.query)) text.add('?').add(fields_.query);
    });
}

KqbString KqRZSRefURIImpl::queryValue(std::string_view key) {
    KqbString value;
    kqbWithMemory([&] {
        KqURIQueryList pairs(kAllowDuplicates);
        pairs.parse(fields_.query);
        value = pairs.valueOf(key);
        if (value.isNull()) value = KqbString("", true);
    });
    return value;
}

KqbString KqRZSRefURIImpl::getObjectType() {
    KqbString const type = queryValue("ObjectType");
    return kqbIsAbsent(type) ? KqbString() : type;
}

KqbString KqRZSRefURIImpl::getServiceType() { return queryValue("ServiceType"); }

void KqRZSRefURIImpl::writeAuthority(KqURIText &text) {
    text.add(kqbIsAbsent(fields_.scheme) ? KqbString(kScheme, true) : fields_.scheme);
    text.add("://").add(fields_.host).add('/');
}

void KqRZSRefURIImpl::writeText(KqURIText &text) {
    writeAuthority(text);
    text.add(fields_.path);
}

void KqRZSRefURIImpl::writeEscaped(KqURIText &text) {
    writeAuthority(text);
    kqbAddComponent(text, fields_.path, kKqURIPathEscapes);
    KqURIQueryList pairs(kAllowDuplicates);
    pairs.parse(fields_.query);
    if (pairs.size() > 0) {
        text.add('?');
        pairs.write(text);
    }
    kqbAddMarked(text, '#', fields_.fragment, kKqURIFragmentEscapes);
}

KqRZSRefURI *getRZSRefURIFromComponents(KqbString const &host, KqbString const &path,
                                        KqbString const &query) {
    return kqbMakeURI<KqRZSRefURIImpl>(
        [&](KqRZSRefURIImpl &uri) { uri.assign(kqbUnescaped(host), kqbUnescaped(path), query); });
}

bool getRZSRefURIComponentsFromString(KqbString const &text, KqbString *host, KqbString *path,
                                      KqbString *query, KqbString *fragment) {
    KqURIFields fields;
    if (!kqbWithMemory([&] { fields.parse(text); })) return false;
    kqbGive(host, fields.host);
    kqbGive(path, fields.path);
    kqbGive(query, fields.query);
    kqbGive(fragment, fields.fragment);
    return true;
}
