// Hadoop locations.
#include "uri/kqhdpuri_internal.h"

#include "kqb/kqbmodules.h"
#include "platform/kqschr.h"
#include "uri/kquriresult_internal.h"

namespace {

using std::string_view;

constexpr unsigned kPrefixCharacters = 10;  // of "hadoop:///"

// White space at the ends of a half is trimmed when it is parsed, so composing escapes it.
constexpr KqURIEscapes kPathEscapes{" ?#\t\n\v\f\r"};
constexpr KqURIEscapes kQueryEscapes{" \t\n\v\f\r"};

// Whether every part between "&" that is not empty is KEY=VALUE with a key.
bool isPairs(string_view query) {
    for (std::size_t at = 0; at < query.size();) {
        string_view const part = query.substr(at, query.find('&', at) - at);
        std::size_t const equals = part.find('=');
        if (!part.empty() && (equals == string_view::npos || equals == 0)) return false;
        at += part.size() + 1;
    }
    return true;
}

// The text behind the prefix.
string_view withoutPrefix(string_view text) {
    char const *const rest = np_uchar_seek_n(text.data(), text.size(), kPrefixCharacters);
    if (rest == nullptr) return {};
    return text.substr(static_cast<std::size_t>(rest - text.data()));
}

}  // namespace

bool KqHadoopURIImpl::parse(KqbString const &text) {
    string_view const rest = withoutPrefix(KqbStringAccess::view(text));
    std::size_t const question = rest.find('?');
    fields_.path = kqbUnescaped(kqbTrimmed(rest.substr(0, question)));
    if (question != string_view::npos) {
        string_view const query = kqbTrimmed(rest.substr(question + 1));
        if (!isPairs(query)) return false;
        applyQuery(kqbStringOf(query));
    }
    fields_.text = text;
    return true;
}

// The query is kept as its pairs compose it, from which they can be read again.
void KqHadoopURIImpl::applyQuery(KqbString const &query) {
    KqURIQueryList pairs(kAllowDuplicates);
    pairs.parse(query);
    KqURIText text;
    pairs.write(text);
    fields_.query = text.take();
    fields_.text.setNull();
}

bool KqHadoopURIImpl::setQuery(KqbString const &query, KqbString *error) {
    if (error != nullptr) error->setNull();
    if (!isPairs(KqbStringAccess::view(query))) {
        return kqbRefuse(error, "The query is not a list of pairs KEY=VALUE");
    }
    return kqbWithMemory([&] { applyQuery(query); }) || kqbRefuse(error, kKqbOutOfMemory);
}

bool KqHadoopURIImpl::addQueryValue(KqbString const &key, KqbString const &value,
                                    KqbString *error) {
    if (kqbIsAbsent(key)) return kqbRefuse(error, kKqURIQueryValueRefused);
    if (!kqbAddQueryValue(fields_.query, kAllowDuplicates, key, value, error)) return false;
    fields_.text.setNull();
    return true;
}

KqbString KqHadoopURIImpl::getQueryValue(KqbString const &key) {
    KqbString value;
    kqbWithMemory([&] {
        KqURIQueryList pairs(kAllowDuplicates);
        pairs.parse(fields_.query);
        value = pairs.valueOf(KqbStringAccess::view(key));
    });
    return value;
}

KqHadoopURI *KqHadoopURIImpl::getParent() {
    if (kqbIsAbsent(fields_.path)) return nullptr;
    return kqbMakeURI<KqHadoopURIImpl>([&](KqHadoopURIImpl &uri) {
        uri.setPath(kqbStringOf(kqbParentPath(KqbStringAccess::view(fields_.path))));
    });
}

void KqHadoopURIImpl::writeText(KqURIText &text) {
    text.add("hadoop:///").add(fields_.path);
    if (!kqbIsAbsent(fields_.query)) text.add('?').add(fields_.query);
}

void KqHadoopURIImpl::writeEscaped(KqURIText &text) {
    text.add("hadoop:///");
    kqbAddComponent(text, fields_.path, kPathEscapes);
    kqbAddMarked(text, '?', fields_.query, kQueryEscapes);
}

KqURI *kqbParseHadoopURI(KqbString const &text) {
    bool applied = false;
    auto *const uri = kqbMakeURI<KqHadoopURIImpl>(
        [&](KqHadoopURIImpl &location) { applied = location.parse(text); });
    if (uri == nullptr || applied) return uri;
    uri->release();
    return nullptr;
}

KqHadoopURI *getHadoopURIFromComponents(KqbString const &path) {
    return kqbMakeURI<KqHadoopURIImpl>(
        [&](KqHadoopURIImpl &uri) { uri.setPath(kqbUnescaped(path)); });
}
