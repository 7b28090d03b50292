#include <Poco/URI.h>
#include <glib.h>
#include <uriparser/Uri.h>

#include <QUrl>
#include <QUrlQuery>
#include <random>
#include <string>
#include <vector>

#include "bench/library.h"

namespace {

constexpr int kTexts = 1000;

// One work over all texts.
template <class Work>
void row(char const *name, Work work) {
    benchmark::RegisterBenchmark(name, [work](benchmark::State &state) {
        for (auto _ : state) work();
    });
}

// --- Texts ------------------------------------------------------------------------------------

std::mt19937 gRandom(5);

std::size_t below(std::size_t limit) { return gRandom() % limit; }

std::string word() {
    static char const *const kWords[] = {"orders", "2017", "customer", "a",   "Load", "archive",
                                         "region", "eu",   "report",   "v2",  "tmp",  "inventory",
                                         "q1",     "x86",  "backup",   "day", "log",  "transform"};
    return kWords[below(std::size(kWords))];
}

// A word, or sometimes two with what has to be escaped between them.
std::string piece() {
    static char const *const kBetween[] = {" ", "\xC3\xA9", " ", "\xE2\x82\xAC"};
    return below(8) > 0 ? word() : word() + kBetween[below(std::size(kBetween))] + word();
}

std::string escaped(std::string const &text) {
    KqbString out;
    char specials[] = " ?#";
    getEscapeStringForURI(text.c_str(), specials, 3, &out, nullptr);
    return out.asCstr();
}

std::string path() {
    std::string text = piece();
    for (std::size_t i = 1 + below(4); i > 0; --i) text += "/" + piece();
    return text;
}

std::string query(std::size_t pairs) {
    std::string text;
    for (std::size_t i = 0; i < pairs; ++i) text += (i > 0 ? "&" : "") + word() + "=" + piece();
    return text;
}

struct Components {
    std::string scheme, host, path, query, fragment;
};

Components components() {
    static char const *const kSchemes[] = {"https", "ftp", "hdfs", "s3", "x"};
    Components made{kSchemes[below(5)], word() + "." + word() + ".example.com", path(), "", ""};
    if (below(2) > 0) made.query = query(1 + below(3));
    if (below(4) == 0) made.fragment = word();
    return made;
}

template <class Make>
auto many(Make make) {
    std::vector<decltype(make())> made;
    for (int i = 0; i < kTexts; ++i) made.push_back(make());
    return made;
}

std::string textOf(Components const &c) {
    return c.scheme + "://" + c.host + "/" + escaped(c.path) +
           (c.query.empty() ? "" : "?" + escaped(c.query)) +
           (c.fragment.empty() ? "" : "#" + c.fragment);
}

template <class Text>
std::vector<Text> as(std::vector<std::string> const &texts) {
    std::vector<Text> made;
    for (std::string const &text : texts) made.emplace_back(text.c_str());
    return made;
}

// --- Parse and read every component ---------------------------------------------------------------

void kqbParse(std::vector<KqbString> const &texts) {
    for (KqbString const &text : texts) {
        KqURI *const uri = getURIFromURIString(text);
        benchmark::DoNotOptimize(uri->getScheme());
        benchmark::DoNotOptimize(uri->getHost());
        benchmark::DoNotOptimize(uri->getPath());
        benchmark::DoNotOptimize(uri->getQuery());
        benchmark::DoNotOptimize(uri->getFragment());
        uri->release();
    }
}

// A component as the others give it: a string of its own, unescaped.
std::string ownPart(char const *first, char const *afterLast) {
    if (first == nullptr) return {};
    std::string text(first, afterLast);
    if (text.find('%') != std::string::npos) {
        text.resize(static_cast<std::size_t>(
            uriUnescapeInPlaceExA(text.data(), URI_FALSE, URI_BR_DONT_TOUCH) - text.data()));
    }
    return text;
}

template <class Read>
void uriparserParse(std::vector<std::string> const &texts, Read read) {
    for (std::string const &text : texts) {
        UriUriA uri;
        char const *error = nullptr;
        if (uriParseSingleUriA(&uri, text.c_str(), &error) != URI_SUCCESS) std::abort();
        read(uri.scheme.first, uri.scheme.afterLast);
        read(uri.hostText.first, uri.hostText.afterLast);
        if (uri.pathHead != nullptr) {
            read(uri.pathHead->text.first, uri.pathTail->text.afterLast);
        }
        read(uri.query.first, uri.query.afterLast);
        read(uri.fragment.first, uri.fragment.afterLast);
        uriFreeUriMembersA(&uri);
    }
}

void glibSplit(std::vector<std::string> const &texts) {
    for (std::string const &text : texts) {
        char *parts[5] = {};
        int port = 0;
        if (!g_uri_split(text.c_str(), G_URI_FLAGS_NONE, &parts[0], nullptr, &parts[1], &port,
                         &parts[2], &parts[3], &parts[4], nullptr)) {
            std::abort();
        }
        benchmark::DoNotOptimize(parts);
        for (char *part : parts) g_free(part);
    }
}

void glibParse(std::vector<std::string> const &texts) {
    for (std::string const &text : texts) {
        GUri *const uri = g_uri_parse(text.c_str(), G_URI_FLAGS_NONE, nullptr);
        benchmark::DoNotOptimize(g_uri_get_scheme(uri));
        benchmark::DoNotOptimize(g_uri_get_host(uri));
        benchmark::DoNotOptimize(g_uri_get_path(uri));
        benchmark::DoNotOptimize(g_uri_get_query(uri));
        benchmark::DoNotOptimize(g_uri_get_fragment(uri));
        g_uri_unref(uri);
    }
}

void qtParse(std::vector<QString> const &texts) {
    for (QString const &text : texts) {
        QUrl const uri(text);
        benchmark::DoNotOptimize(uri.scheme());
        benchmark::DoNotOptimize(uri.host());
        benchmark::DoNotOptimize(uri.path());
        benchmark::DoNotOptimize(uri.query());
        benchmark::DoNotOptimize(uri.fragment());
    }
}

void pocoParse(std::vector<std::string> const &texts) {
    for (std::string const &text : texts) {
        Poco::URI const uri(text);
        benchmark::DoNotOptimize(uri.getScheme());
        benchmark::DoNotOptimize(uri.getHost());
        benchmark::DoNotOptimize(uri.getPath());
        benchmark::DoNotOptimize(uri.getQuery());
        benchmark::DoNotOptimize(uri.getFragment());
    }
}

void parsing(std::vector<Components> const &all) {
    std::vector<std::string> texts;
    std::size_t bytes = 0;
    for (Components const &c : all) bytes += texts.emplace_back(textOf(c)).size();
    std::fprintf(stderr, "texts of %zu bytes on average\n", bytes / all.size());
    row("URI parse and read/kqb", [kept = as<KqbString>(texts)] { kqbParse(kept); });
    row("URI parse and read/uriparser", [texts] {
        uriparserParse(texts, [](char const *first, char const *afterLast) {
            benchmark::DoNotOptimize(ownPart(first, afterLast));
        });
    });
    row("URI parse and read/uriparser, ranges only", [texts] {
        uriparserParse(texts, [](char const *first, char const *afterLast) {
            benchmark::DoNotOptimize(first);
            benchmark::DoNotOptimize(afterLast);
        });
    });
    row("URI parse and read/g_uri_split", [texts] { glibSplit(texts); });
    row("URI parse and read/GUri", [texts] { glibParse(texts); });
    row("URI parse and read/QUrl", [kept = as<QString>(texts)] { qtParse(kept); });
    row("URI parse and read/Poco::URI", [texts] { pocoParse(texts); });
}

// --- Compose --------------------------------------------------------------------------------------

char const *orNull(std::string const &text) { return text.empty() ? nullptr : text.c_str(); }

void composing(std::vector<Components> const &all) {
    std::vector<KqURI *> ours;
    std::vector<GUri *> theirs;
    for (Components const &c : all) {
        ours.push_back(getFullURI(c.scheme.c_str(), c.host.c_str(), c.path.c_str(), c.query.c_str(),
                                  c.fragment.c_str()));
        theirs.push_back(g_uri_build(G_URI_FLAGS_NONE, c.scheme.c_str(), nullptr, c.host.c_str(),
                                     -1, ("/" + c.path).c_str(), orNull(c.query),
                                     orNull(c.fragment)));
    }
    row("URI compose, escaped/kqb", [ours] {
        for (KqURI *uri : ours) benchmark::DoNotOptimize(uri->getEscapedURIString());
    });
    row("URI compose, escaped/GUri", [theirs] {
        for (GUri *uri : theirs) {
            char *const text = g_uri_to_string(uri);
            benchmark::DoNotOptimize(text);
            g_free(text);
        }
    });
}

// --- Escape and unescape --------------------------------------------------------------------------

void escaping() {
    std::vector<std::string> const texts =
        many([] { return path() + "/" + path() + "/" + path(); });
    std::vector<std::string> escapedTexts;
    for (std::string const &text : texts) escapedTexts.push_back(escaped(text));
    row("URI escape/kqb", [kept = as<KqbString>(texts)] {
        char specials[] = " ?#";
        for (KqbString const &text : kept) {
            KqbString out;
            getEscapeStringForURI(text, specials, 3, &out, nullptr);
            benchmark::DoNotOptimize(out);
        }
    });
    row("URI escape/g_uri_escape_string", [texts] {
        for (std::string const &text : texts) {
            char *const out =
                g_uri_escape_string(text.c_str(), G_URI_RESERVED_CHARS_ALLOWED_IN_PATH, FALSE);
            benchmark::DoNotOptimize(out);
            g_free(out);
        }
    });
    row("URI unescape/kqb", [kept = as<KqbString>(escapedTexts)] {
        for (KqbString const &text : kept) {
            KqbString out;
            getUnEscapeStringFromURI(text, &out);
            benchmark::DoNotOptimize(out);
        }
    });
    row("URI unescape/g_uri_unescape_string", [escapedTexts] {
        for (std::string const &text : escapedTexts) {
            char *const out = g_uri_unescape_string(text.c_str(), nullptr);
            benchmark::DoNotOptimize(out);
            g_free(out);
        }
    });
}

// --- Queries --------------------------------------------------------------------------------------

void queries() {
    std::vector<std::string> const texts = many([] { return escaped(query(10)); });
    row("URI query of 10 pairs/kqb", [kept = as<KqbString>(texts)] {
        for (KqbString const &text : kept) {
            KqURIQueryHandler *const pairs = getURIQueryHandler(text, true);
            benchmark::DoNotOptimize(pairs->getQueryString());
            pairs->release();
        }
    });
    row("URI query of 10 pairs/QUrlQuery", [kept = as<QString>(texts)] {
        for (QString const &text : kept) {
            QUrlQuery const pairs(text);
            benchmark::DoNotOptimize(pairs.toString(QUrl::FullyEncoded));
        }
    });
    row("URI query of 10 pairs/Poco::URI", [texts] {
        Poco::URI uri("x://h/p");
        for (std::string const &text : texts) {
            uri.setRawQuery(text);
            uri.setQueryParameters(uri.getQueryParameters());
            benchmark::DoNotOptimize(uri.getRawQuery());
        }
    });
}

struct Rows {
    Rows() {
        std::vector<Components> const all = many(components);
        parsing(all);
        composing(all);
        escaping();
        queries();
    }
};

}  // namespace

int main(int argc, char **argv) {
    Library const library;
    Rows const rows;
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::ClearRegisteredBenchmarks();  // they hold strings, which end before the library
    return 0;
}
