// URI texts of every kind: no byte is lost, and the generic cut agrees with its rules written out
// with the operations of strings.
#include <memory>

#include "fuzz/fuzz_support.h"
#include "kqb/kqdatauri.h"
#include "kqb/kqreposuri.h"
#include "kqb/kqrzsrefuri.h"
#include "kqb/kquri.h"
#include "platform/kqschr.h"

namespace {

struct Release {
    void operator()(KqURI *uri) const { uri->release(); }
};
using Owner = std::unique_ptr<KqURI, Release>;

bool equal(KqbString const &a, KqbString const &b) {
    return std::string(a.asCstr()) == std::string(b.asCstr());
}

bool contains(KqbString const &text, char const *piece) { return text.find(piece) >= 0; }

KqbString cut(KqbString const &text, int begin, int end) {
    return end > begin ? text.mid(static_cast<unsigned>(begin), end - begin) : KqbString();
}

KqbString unescaped(KqbString const &text) {
    KqbString result;
    fuzzCheck(getUnEscapeStringFromURI(text, &result), "unescape");
    return result;
}

struct Parts {
    KqbString scheme, host, path, query, fragment;
};

// The rules, step by step, in characters.
Parts modelOf(KqbString const &text) {
    Parts parts;
    int const end = static_cast<int>(text.length());
    int const colon = std::max(text.find(":"), 0);
    parts.scheme = cut(text, 0, colon);
    int const slashes = text.find("//", colon + 1);
    int const root = slashes > 0 ? text.find("/", slashes + 2) : -1;
    if (root < 0) return parts;
    parts.host = cut(text, slashes + 2, root);
    int const question = text.find("?", root);
    int const hash = text.find("#", question >= 0 ? question : root);
    if (hash >= 0) parts.fragment = unescaped(cut(text, hash + 1, end));
    int const tail = hash >= 0 ? hash : end;
    if (question >= 0) parts.query = unescaped(cut(text, question + 1, tail));
    parts.path = unescaped(cut(text, root + 1, question >= 0 ? question : tail));
    return parts;
}

void checkParts(KqbString const &text) {
    KqbString host, path, query, fragment;
    fuzzCheck(getRZSRefURIComponentsFromString(text, &host, &path, &query, &fragment), "split");
    Parts const model = modelOf(text);
    fuzzCheck(equal(host, model.host), "host");
    fuzzCheck(equal(path, model.path), "path");
    fuzzCheck(equal(query, model.query), "query");
    fuzzCheck(equal(fragment, model.fragment), "fragment");
}

bool isWellFormed(KqbString const &text) {
    return np_uchar_valid_n(text.asCstr(), text.cStrSize() - 1);
}

// What a generic URI's escaped text cannot carry: a percent sign, ill-formed text, a number sign in
// the query, a question mark in the fragment when there is no query.
bool isCarried(KqURI &uri) {
    for (KqbString const &part : {uri.getPath(), uri.getQuery(), uri.getFragment()}) {
        if (contains(part, "%") || !isWellFormed(part)) return false;
    }
    return !contains(uri.getQuery(), "#") &&
           (uri.getQuery().length() > 0 || !contains(uri.getFragment(), "?"));
}

void checkRoundTrip(KqURI &uri, KqURI &again) {
    if (!isCarried(uri)) return;
    fuzzCheck(equal(uri.getHost(), again.getHost()), "host again");
    fuzzCheck(equal(uri.getPath(), again.getPath()), "path again");
    fuzzCheck(equal(uri.getQuery(), again.getQuery()), "query again");
    fuzzCheck(equal(uri.getFragment(), again.getFragment()), "fragment again");
    fuzzCheck(equal(uri.getEscapedURIString(), again.getEscapedURIString()), "a fixed point");
}

bool isGeneric(KqbString const &scheme) {
    for (char const *kind : {"kqr", "kqd", "kqf", "rzsref", "hadoop", "kqwt", ""}) {
        if (scheme.compare(kind) == 0) return false;
    }
    return !scheme.isNull();
}

void walk(KqReposURI &uri) {
    Owner const root(uri.getRootFolder());
    Owner parent(uri.getParentFolder());
    fuzzCheck((parent == nullptr) == (uri.getPath().cStrSize() == 1), "a parent for every name");
    fuzzCheck(uri.getLeafName().cStrSize() <= uri.getPath().cStrSize(), "leaf");
    while (parent != nullptr) {
        KqbString const name = parent->getPath();
        parent.reset(parent->asReposURI()->getParentFolder());
        fuzzCheck(parent == nullptr || parent->getPath().cStrSize() < name.cStrSize(), "upwards");
        if (name.length() > 1000) return;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const *data, std::size_t size) {
    fuzzBringUp();
    KqbString const text(fuzzText(data, size).c_str());
    if (isWellFormed(text)) checkParts(text);
    Owner const uri(getURIFromURIString(text));
    if (uri == nullptr) return 0;
    fuzzCheck(equal(uri->getURIString(), text), "the text given");
    KqbString native;
    fuzzCheck(getNativePath(uri.get(), &native), "native path");
    Owner const again(getURIFromURIString(uri->getEscapedURIString()));
    if (isWellFormed(text) && isGeneric(uri->getScheme())) {
        fuzzCheck(again != nullptr, "an escaped text parses");
        checkRoundTrip(*uri, *again);
    }
    if (uri->asReposURI() != nullptr) walk(*uri->asReposURI());
    KqbString error;
    fuzzCheck(uri->addQueryValue("key", "a value", &error), "add");
    fuzzCheck(contains(uri->getQuery(), "key=a%20value"), "added");
    return 0;
}
