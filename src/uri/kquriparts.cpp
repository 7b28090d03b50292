#include "uri/kquriparts_internal.h"

#include "core/kqbstring_internal.h"
#include "uri/kquriescape_internal.h"

namespace {

using std::string_view;
constexpr std::size_t kNone = string_view::npos;

// What stands behind the host's slash. "?" is looked for first, wherever "#" stands.
void splitPath(string_view rest, KqURIParts &parts) {
    std::size_t const question = rest.find('?');
    std::size_t const hash = rest.find('#', question == kNone ? 0 : question);
    if (hash != kNone) parts.fragment = rest.substr(hash + 1);
    string_view const head = rest.substr(0, hash);
    if (question != kNone) parts.query = head.substr(question + 1);
    parts.path = head.substr(0, question);
}

void fill(KqbString &field, string_view part) {
    if (!part.empty()) field = kqbStringOf(part);
}

void fillUnescaped(KqbString &field, string_view part) {
    if (!part.empty()) field = kqbUnescaped(part);
}

// Where the leaf of a path begins, or 0.
std::size_t leafStart(string_view path) {
    std::size_t const slash = path.rfind('/');
    return slash == kNone || slash == 0 ? 0 : slash + 1;
}

}  // namespace

KqURIParts kqbSplitURI(string_view text) {
    KqURIParts parts;
    std::size_t const found = text.find(':');
    std::size_t const colon = found == kNone ? 0 : found;
    parts.scheme = text.substr(0, colon);
    std::size_t const slashes = text.find("//", colon + 1);
    if (slashes == kNone) return parts;
    std::size_t const host = slashes + 2;
    std::size_t const root = text.find('/', host);
    if (root == kNone) return parts;
    parts.host = text.substr(host, root - host);
    splitPath(text.substr(root + 1), parts);
    return parts;
}

void KqURIFields::parse(KqbString const &source) {
    text = source;
    KqURIParts const parts = kqbSplitURI(KqbStringAccess::view(source));
    fill(scheme, parts.scheme);
    fill(host, parts.host);
    fillUnescaped(path, parts.path);
    fillUnescaped(query, parts.query);
    fillUnescaped(fragment, parts.fragment);
}

string_view kqbParentPath(string_view path) {
    std::size_t const leaf = leafStart(path);
    return leaf == 0 ? string_view() : path.substr(0, leaf - 1);
}

string_view kqbLeafOfPath(string_view path) { return path.substr(leafStart(path)); }
