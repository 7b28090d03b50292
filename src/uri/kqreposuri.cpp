#include "uri/kqreposuri_internal.h"

#include "uri/kquripath_internal.h"

namespace {

KqReposURI *makeFolder(KqbString const &host, std::string_view name) {
    return kqbMakeURI<KqReposURIImpl>([&](KqReposURIImpl &uri) {
        uri.assign(host, kqbReplacedBytes(kqbStringOf(name), '\\', '/'),
                   KqbString(kKqURIFolderType, true));
    });
}

}  // namespace

void KqReposURIImpl::parse(KqbString const &text) {
    KqReposParts parts;
    parts.parse(text);
    fields_.scheme = parts.fields.scheme;
    if (!parts.isRepository) return;
    fields_ = parts.fields;
    type_ = parts.type;
}

void KqReposURIImpl::assign(KqbString const &host, KqbString const &name, KqbString const &type) {
    fields_.host = host;
    fields_.path = name;
    type_ = type;
}

KqReposURI *KqReposURIImpl::getParentFolder() {
    if (kqbIsAbsent(fields_.path)) return nullptr;
    return makeFolder(fields_.host, kqbParentPath(KqbStringAccess::view(fields_.path)));
}

KqReposURI *KqReposURIImpl::getRootFolder() { return makeFolder(fields_.host, ""); }

bool KqReposURIImpl::isFolder() {
    return kqbIsAbsent(fields_.path) && KqbStringAccess::view(type_) == kKqURIFolderType;
}

void KqReposURIImpl::writeScheme(KqURIText &text) {
    if (kqbIsAbsent(fields_.scheme)) {
        text.add("kqr://");
    } else {
        text.add(fields_.scheme).add("://");
    }
}

void KqReposURIImpl::writeText(KqURIText &text) {
    writeScheme(text);
    text.add(fields_.host).add('/').add(fields_.path).add('(').add(type_).add(')');
}

void KqReposURIImpl::writeEscaped(KqURIText &text) {
    writeScheme(text);
    text.add(fields_.host).add('/');
    kqbAddComponent(text, fields_.path, kKqURIMultiByteOnly);
    text.add('(').add(type_).add(')');
}

KqbString KqReposURIImpl::getHostlessURIString() {
    return composed([this](KqURIText &text) {
        writeScheme(text);
        text.add('/').add(fields_.path).add('(').add(type_).add(')');
    });
}

KqReposURI *getReposURIFromComponents(KqbString const &host, KqbString const &path,
                                      KqbString const &type) {
    return kqbMakeURI<KqReposURIImpl>([&](KqReposURIImpl &uri) {
        uri.assign(kqbUnescaped(host), kqbReplacedBytes(kqbUnescaped(path), '\\', '/'), type);
    });
}
