// Paths: slashes, native paths, the parts of a repository path.
#include "uri/kquripath_internal.h"

#include "kqb/kquri.h"
#include "uri/kquriescape_internal.h"
#include "uri/kquriresult_internal.h"

namespace {

using std::string_view;

bool convert(KqbString const &in, KqbString *out, char from, char to) {
    if (out == nullptr) return false;
    KqbString const source = in;
    out->setNull();
    if (kqbIsAbsent(source)) return false;
    return kqbWithMemory([&] { *out = kqbReplacedBytes(source, from, to); });
}

void addNative(KqURIText &text, KqbString const &host, KqbString const &path) {
    if (!kqbIsAbsent(host)) text.add("\\\\").add(host).add('\\');
    text.add(kqbReplacedBytes(path, '/', '\\'));
}

// The name and type in a path that is not empty.
struct NameAndType {
    string_view name;
    string_view type = kKqURIFolderType;
};

NameAndType splitName(string_view path) {
    NameAndType parts;
    std::size_t const open = path.rfind('(');
    std::size_t const close = path.rfind(')');
    if (close == string_view::npos || close == 0) return parts;
    if (open != string_view::npos && open > 0) {
        parts.name = path.substr(0, open);
        parts.type = close > open ? path.substr(open + 1, close - open - 1) : string_view();
    } else if (open == 0) {
        parts.type = path.substr(1, close - 1);
    }
    return parts;
}

}  // namespace

void KqReposParts::parse(KqbString const &text) {
    fields.parse(text);
    isRepository = KqbStringAccess::view(fields.scheme) == "kqr";
    if (!isRepository) return;
    fields.host = kqbUnescaped(fields.host);
    KqbString const path = fields.path;
    NameAndType const parts = splitName(KqbStringAccess::view(path));
    // The name was unescaped once with the path; names have always been unescaped twice.
    fields.path = kqbUnescaped(parts.name);
    type = kqbStringOf(parts.type);
}

KqbString kqbReplacedBytes(KqbString const &text, char from, char to) {
    string_view const bytes = KqbStringAccess::view(text);
    if (bytes.empty()) return KqbString();
    if (bytes.find(from) == string_view::npos) return text;
    KqURIText out;
    for (std::size_t at = 0;;) {
        std::size_t const found = bytes.find(from, at);
        out.add(bytes.substr(at, found - at));
        if (found == string_view::npos) return out.take();
        out.add(to);
        at = found + 1;
    }
}

bool convertBackSlashesToSlashes(KqbString const &in, KqbString *out) {
    return convert(in, out, '\\', '/');
}

bool convertSlashesToBackSlashes(KqbString const &in, KqbString *out) {
    return convert(in, out, '/', '\\');
}

bool getNativePath(KqURI *uri, KqbString *out) {
    if (uri == nullptr || out == nullptr) return false;
    // A component that could not be had for want of memory must not pass for one that is absent.
    unsigned const failures = kqbMemoryFailures();
    KqbString const host = uri->getHost();
    KqbString const path = uri->getPath();
    if (kqbMemoryFailures() != failures) return false;
    return kqbWithMemory([&] {
        KqURIText text;
        addNative(text, host, path);
        *out = text.take();
    });
}

bool getPathURLComponentsFromString(KqbString const &text, KqbString *scheme, KqbString *host,
                                    KqbString *name, KqbString *type) {
    KqReposParts parts;
    if (scheme == nullptr || !kqbWithMemory([&] { parts.parse(text); })) return false;
    *scheme = parts.fields.scheme;
    if (!parts.isRepository) return false;
    kqbGive(host, parts.fields.host);
    kqbGive(name, parts.fields.path);
    kqbGive(type, parts.type);
    return true;
}
