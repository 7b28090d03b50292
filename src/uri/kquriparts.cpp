#include "uri/kquriparts_internal.h"

#include "core/kqbstring_internal.h"
#include "uri/kquriescape_internal.h"
#include "uri/kquriscan_internal.h"

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
    string_view const whole = KqbStringAccess::view(source);
    KqURIParts const parts = kqbSplitURI(whole);
    kqbAssign(scheme, parts.scheme);
    kqbAssign(host, parts.host);
    if (parts.path.data() == nullptr) return;
    NextPlace percent(whole.substr(static_cast<std::size_t>(parts.path.data() - whole.data())),
                      '%');
    auto const fill = [&](KqbString &field, string_view part) {
        if (part.empty()) return;
        auto const at = static_cast<std::size_t>(part.data() - parts.path.data());
        if (percent.from(at) < at + part.size()) {
            field = kqbDecoded(part);
        } else {
            kqbAssign(field, part);
        }
    };
    fill(path, parts.path);
    fill(query, parts.query);
    fill(fragment, parts.fragment);
}

string_view kqbParentPath(string_view path) {
    std::size_t const leaf = leafStart(path);
    return leaf == 0 ? string_view() : path.substr(0, leaf - 1);
}

string_view kqbLeafOfPath(string_view path) { return path.substr(leafStart(path)); }
