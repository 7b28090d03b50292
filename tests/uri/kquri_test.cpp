#include "kqb/kquri.h"

#include <chrono>
#include <cstring>

#include "kqb/kqdatauri.h"
#include "kqb/kqhadoopuri.h"
#include "kqb/kqreposuri.h"
#include "kqb/kqrzsrefuri.h"
#include "kqb/kquriqueryhandler.h"
#include "kqb/kqworktableuri.h"
#include "uri/kquri_internal.h"
#include "uri/uri_test.h"

namespace {

using KqURITest = URITest;

// --- The binary interface -------------------------------------------------------------------------

// The place of an operation in the table that callers of other compilers use.
template <class Operation>
std::ptrdiff_t slotOf(Operation operation) {
    std::ptrdiff_t words[2];
    static_assert(sizeof words == sizeof operation);
    std::memcpy(words, &operation, sizeof words);
    return words[0] / static_cast<std::ptrdiff_t>(sizeof(void *));
}

template <class... Operation>
void expectSlots(std::ptrdiff_t slot, Operation... operations) {
    for (std::ptrdiff_t const found : {slotOf(operations)...}) EXPECT_EQ(found, slot++);
}

TEST_F(KqURITest, operationsStandInOrder) {
    expectSlots(0, &KqURI::release, &KqURI::getScheme, &KqURI::getHost, &KqURI::getPath,
                &KqURI::getQuery, &KqURI::getFragment, &KqURI::getURIString,
                &KqURI::getEscapedURIString, &KqURI::asReposURI, &KqURI::asDataURI,
                &KqURI::addQueryValue);
    expectSlots(11, &KqDataURI::getSource, &KqDataURI::getSourceType, &KqDataURI::getSegment1,
                &KqDataURI::getSegment2, &KqDataURI::getSegment3, &KqDataURI::getLeaf,
                &KqDataURI::getLocation);
    expectSlots(11, &KqReposURI::getType, &KqReposURI::getHostName, &KqReposURI::getParentFolder,
                &KqReposURI::getRootFolder, &KqReposURI::getEmptyText,
                &KqReposURI::getHostlessURIString, &KqReposURI::getLeafName, &KqReposURI::isFolder);
    expectSlots(11, &KqRZSRefURI::getHostName, &KqRZSRefURI::getParent,
                &KqRZSRefURI::getHostlessURIString, &KqRZSRefURI::getLeafName,
                &KqRZSRefURI::getObjectType, &KqRZSRefURI::getServiceType);
    expectSlots(11, &KqHadoopURI::setQuery, &KqHadoopURI::getQueryValue, &KqHadoopURI::getParent,
                &KqHadoopURI::getLeafName);
    expectSlots(11, &KqWorkTableURI::addColumn, &KqWorkTableURI::getColumn,
                &KqWorkTableURI::getColumnCount, &KqWorkTableURI::getName,
                &KqWorkTableURI::getRange, &KqWorkTableURI::setName, &KqWorkTableURI::setRange);
    expectSlots(0, &KqURIQueryHandler::release, &KqURIQueryHandler::addValue,
                &KqURIQueryHandler::getCount, &KqURIQueryHandler::getPair,
                &KqURIQueryHandler::getQueryString, &KqURIQueryHandler::parse);
}

// --- Parsing --------------------------------------------------------------------------------------

TEST_F(KqURITest, cutsTexts) {
    char const *const cases[][3] = {
        // text, components, escaped text
        {"ftp://h/a%20b?x%3Fy#z", "ftp|h|a b|x?y|z", "ftp://h/a%20b?x%3Fy#z"},
        {"ftp://host", "ftp||||", "ftp:///"},
        {"ftp://host?q#f", "ftp||||", "ftp:///"},
        {"x://h/", "x|h|||", "x://h/"},
        {"x:///p", "x||p||", "x:///p"},
        {"x:////p", "x||/p||", "x:////p"},
        {"x://h/p#f?k", "x|h|p#f|k|", "x://h/p%23f?k"},
        {"x://h/p?q?r#s#t", "x|h|p|q?r|s#t", "x://h/p?q%3Fr#s%23t"},
        {"x://h/p?#f", "x|h|p||f", "x://h/p#f"},
        {"x://h/p#f%3Fk", "x|h|p||f?k", "x://h/p#f?k"},
        {"x://h/p?a%23b#f", "x|h|p|a#b|f", "x://h/p?a#b#f"},
        {"x://h/p#", "x|h|p||", "x://h/p"},
        {"x://h?q/p", "x|h?q|p||", "x://h?q/p"},
        {"x://u:p@h:1/p", "x|u:p@h:1|p||", "x://u:p@h:1/p"},
        {"x://%41/%41", "x|%41|A||", "x://%41/A"},
        {"a:b://h/p", "a|h|p||", "a://h/p"},
        {"a/b://h/p", "a/b|h|p||", "a/b://h/p"},
        {":x://h/p", "|h|p||", "//h/p"},
        {":x:///p", "||p||", "/p"},
        {"KQR://r/x(Job)", "KQR|r|x(Job)||", "KQR://r/x(Job)"},
        {"x://h/\xC3\xA9?\xC3\xA9#\xC3\xA9", "x|h|\xC3\xA9|\xC3\xA9|\xC3\xA9",
         "x://h/%C3%A9?%C3%A9#%C3%A9"},
        {"x://h/%2541", "x|h|%41||", "x://h/%41"},
        {"x://h/%zz%4", "x|h|%zz%4||", "x://h/%zz%4"},
        {"x://h/%00a%FF", "x|h|a\xFF||", "x://h/a\xFF"},
        {"x://h/ %C3%A9%88", "x|h| \xC3\xA9\x88||", "x://h/ \xC3\xA9\x88"},  // no byte is lost
    };
    for (auto const &[text, expected, escaped] : cases) {
        auto const uri = parsed(text);
        ASSERT_NE(uri, nullptr) << text;
        EXPECT_EQ(components(*uri), expected) << text;
        EXPECT_EQ(shown(uri->getURIString()), text);
        EXPECT_EQ(shown(uri->getEscapedURIString()), escaped);
        EXPECT_EQ(uri->asDataURI(), nullptr);
        EXPECT_EQ(uri->asReposURI(), nullptr);
    }
}

TEST_F(KqURITest, refusesWhatIsNoURI) {
    for (char const *text : {"", ":", "/", "x", "kqr:/x", "://x", "a//b", "a:/ /b"}) {
        EXPECT_EQ(parsed(text), nullptr) << text;
    }
    EXPECT_EQ(getURIFromURIString(KqbString()), nullptr);
}

TEST_F(KqURITest, everyPrefixGivesItsOwnTextBack) {
    for (std::string const whole :
         {"ftp://h/a%20b?x%3Fy=1&z#frag", "kqr://repo1/Jobs/Load(Job)?q=%41#f",
          "kqd://Sales.ODBC/dbo/Orders/x/leaf", "kqf://srv.DB2/src/a/b/c/leaf",
          "rzsref://srv/a/b?ObjectType=Job&ServiceType=Batch", "hadoop:///user/x?a=1&b=2",
          "kqwt://Orders?id=Integer'7',on=Boolean'yes',n='O%27N'#start=0,count=100"}) {
        for (std::size_t size = 0; size <= whole.size(); ++size) {
            std::string const text = whole.substr(0, size);
            auto const uri = parsed(text);
            EXPECT_TRUE(uri != nullptr || size < whole.find(':') + 3 ||
                        text.starts_with("hadoop:///user/x?"))
                << text;
            if (uri == nullptr) continue;
            EXPECT_EQ(shown(uri->getURIString()), text);
            auto const again = parsed(shown(uri->getEscapedURIString()));
            ASSERT_NE(again, nullptr) << text;
            EXPECT_EQ(again->getEscapedURIString().compare(uri->getEscapedURIString()), 0) << text;
        }
    }
}

TEST_F(KqURITest, takesTimeInProportion) {
    auto const seconds = [](std::string const &text) {
        auto const start = std::chrono::steady_clock::now();
        auto const uri = parsed(text);
        if (uri != nullptr) {
            uri->getEscapedURIString();
            uri->addQueryValue("k", "v", nullptr);
        }
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    constexpr int kMany = 200000;
    for (char const *start : {"x://h/", "x://h/?a=1&", "kqd://a.b/", "kqr://h/", "rzsref://h/p?",
                              "hadoop:///p?k=", "kqwt://T?", "kqwt://T?b=Boolean'1", "x://"}) {
        for (char const *piece :
             {"/",  "&",  "=",  "(",         ")",          "a&",         "a=b&",        "%",
              "%4", ":",  "//", "#?",        "\xC3\xA9",   "\xC3",       "%41",         ",",
              "'",  "a,", "='", "=Boolean'", "=Boolean'1", "=Integer' ", "=Boolean'1',"}) {
            std::string text = start;
            for (int i = 0; i < kMany; ++i) text += piece;
            EXPECT_LT(seconds(text), 10) << start << piece;
        }
    }
}

// --- Building -------------------------------------------------------------------------------------

TEST_F(KqURITest, buildsFromComponents) {
    struct {
        char const *scheme, *host, *path, *query, *fragment, *text, *escaped;
    } const cases[] = {
        {"s", "", "p", "", "", "s:///p", "s:///p"},
        {"s", "h", "a\\b c", "q ?", "f #", "s://h/a/b c", "s://h/a/b%20c?q%20%3F#f%20%23"},
        {"", "h", "%20", "", "f", "//h/%20", "//h/%20#f"},
        {"", "", "", "", "", "/", "/"},
        {"hadoop", "h", "p", "q", "", "hadoop://h/p", "hadoop://h/p?q"},
        {"KQD", "h", "p", "q", "", "KQD://h/p", "KQD://h/p?q"},
        {"kqd", "loc", "src", "q", "f", "kqd://src./", "kqd://src./"},
        {"kqf", "loc", "src", "q", "f", "kqf://loc./src/", "kqf://loc./src/"},
        {"KqR", "h", "a\\b", "q", "f", "kqr://h/a/b()", "kqr://h/a/b()"},
        {"KqWt", "h", "a\\b?c", "q", "f", "kqwt://a\\b?c", "kqwt://a\\b?c"},
        {"RZSREF", "h", "a b", "k=1", "f", "rzsref://h/a b", "rzsref://h/a%20b?k=1"},
    };
    for (auto const &c : cases) {
        auto const uri = own(getFullURI(c.scheme, c.host, c.path, c.query, c.fragment));
        ASSERT_NE(uri, nullptr);
        EXPECT_EQ(shown(uri->getURIString()), c.text);
        EXPECT_EQ(shown(uri->getEscapedURIString()), c.escaped);
        if (*c.query == '\0' && *c.fragment == '\0') {
            EXPECT_EQ(shown(own(getURI(c.scheme, c.host, c.path))->getURIString()), c.text);
        }
    }
    EXPECT_EQ(components(*own(getURI(KqbString(), KqbString(), KqbString()))), "||||");
}

TEST_F(KqURITest, addsToTheQueryAlone) {
    char const *const cases[][2] = {
        {"x://h/p?k=1&b=%26&k=2", "k=1&b=&k=2&k=x%20y"},  // "%26" was unescaped with the query
        {"kqr://r/a(T)?k=1&l=2", "k=x%20y&l=2"},
        {"kqd://S.T/dbo/?l=1", "k=x%20y"},
        {"rzsref://h/p?k=1&l=2", "k=x%20y&l=2"},
    };
    for (auto const &[text, query] : cases) {
        auto const uri = parsed(text);
        KqbString error("before");
        EXPECT_TRUE(uri->addQueryValue("k", "x y", &error));
        EXPECT_TRUE(error.isNull());
        EXPECT_EQ(shown(uri->getQuery()), query);
        EXPECT_TRUE(uri->addQueryValue("", "", nullptr));
        EXPECT_EQ(shown(uri->getQuery()), query + std::string("&="));
        EXPECT_EQ(shown(uri->getURIString()), text);
    }
}

// --- Escaping -------------------------------------------------------------------------------------

TEST_F(KqURITest, escapes) {
    struct {
        std::string text;
        char const *specials;
        int count;
        std::string expected;
        bool result;
    } const cases[] = {
        {"a b?c", " ?#", 3, "a%20b%3Fc", true},
        {"a b", " ", 0, "a b", true},
        {"a b", " ", -1, "a b", true},
        {"a b", nullptr, 3, "a b", true},
        {"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", "", 0, "%C3%A9%E2%82%AC%F0%9F%98%80", true},
        {"\n\x7F%~", "\n%", 2, "%0A\x7F%25~", true},
        {"a\xFF", "", 0, "a", false},
        {"\xFF", "", 0, "", false},
        {"\xC3\xA9\xFF", "", 0, "%C3%A9", true},  // two bytes escaped, two characters
        {std::string(2000, ' '), " ", 1, "", true},
    };
    for (auto const &c : cases) {
        std::string expected = c.expected;
        for (std::size_t i = 0; c.text.size() == 2000 && i < c.text.size(); ++i) expected += "%20";
        KqbString out("+"), error;
        EXPECT_EQ(getEscapeStringForURI(c.text.c_str(), const_cast<char *>(c.specials), c.count,
                                        &out, &error),
                  c.result);
        EXPECT_EQ(shown(out), "+" + expected);
        EXPECT_TRUE(error.isNull());
    }
    KqbString out("+"), error;
    EXPECT_TRUE(getEscapeStringForURI(KqbString(), nullptr, 0, &out, nullptr));
    EXPECT_EQ(shown(out), "");
    EXPECT_FALSE(getEscapeStringForURI("a", nullptr, 0, nullptr, nullptr));
    EXPECT_FALSE(getEscapeStringForURI("a", nullptr, 0, nullptr, &error));
    EXPECT_EQ(shown(error), "The output variable is not allocated or defined to be used.");
}

TEST_F(KqURITest, unescapes) {
    std::string const longText(513, 'a');
    std::pair<std::string, std::string> const cases[] = {
        {"", ""},
        {"100%", "100%"},
        {"%4", "%4"},
        {"%zz1", "%zz1"},
        {"a%00b", "ab"},
        {"%%41", "%%41"},
        {"%4%41", "%4%41"},
        {"%aF", "\xAF"},
        {"%41%42%", "AB%"},
        {"%g1%1g", "%g1%1g"},
        {"%C3%A9", "\xC3\xA9"},
        {"%00", ""},
        {longText, longText},
        {longText + "%41" + longText, longText + "A" + longText},
    };
    for (auto const &[text, expected] : cases) {
        KqbString out("before");
        EXPECT_TRUE(getUnEscapeStringFromURI(text.c_str(), &out));
        EXPECT_EQ(shown(out), expected);
        EXPECT_FALSE(out.isNull());
        KqbString same(text.c_str());
        EXPECT_TRUE(getUnEscapeStringFromURI(same, &same));
        EXPECT_EQ(shown(same), expected);
    }
    EXPECT_FALSE(getUnEscapeStringFromURI("a", nullptr));
}

// --- Paths ----------------------------------------------------------------------------------------

TEST_F(KqURITest, nativePaths) {
    char const *const cases[][2] = {
        {"x://srv/dir/f.txt", "\\\\srv\\dir\\f.txt"},
        {"x:///C:/d/f.txt", "C:\\d\\f.txt"},
        {"x://srv/", "\\\\srv\\"},
        {"x://srv", ""},
        {"kqd://a.b/dbo/t/", "\\\\a.b\\dbo\\t\\\\"},
        {"kqr://h/a/b(Job)", "\\\\h\\a\\b"},
        {"kqwt://a/b?c", "a\\b"},
    };
    for (auto const &[text, expected] : cases) {
        KqbString path;
        EXPECT_TRUE(getNativePath(parsed(text).get(), &path));
        EXPECT_EQ(shown(path), expected);
    }
    KqbString path("before");
    EXPECT_FALSE(getNativePath(nullptr, &path));
    EXPECT_FALSE(getNativePath(parsed("x://h/p").get(), nullptr));
    EXPECT_EQ(shown(path), "before");
}

TEST_F(KqURITest, convertsSlashes) {
    KqbString out("a\\b/c\\");
    EXPECT_TRUE(convertBackSlashesToSlashes(out, &out));
    EXPECT_EQ(shown(out), "a/b/c/");
    EXPECT_TRUE(convertSlashesToBackSlashes("a/b\\c", &out));
    EXPECT_EQ(shown(out), "a\\b\\c");
    EXPECT_FALSE(convertBackSlashesToSlashes("", &out));
    EXPECT_TRUE(out.isNull());
    EXPECT_FALSE(convertSlashesToBackSlashes(KqbString(), &out));
    EXPECT_FALSE(convertSlashesToBackSlashes("a", nullptr));
}

TEST_F(KqURITest, cutsRepositoryPaths) {
    char const *const cases[][2] = {
        {"kqr://repo1/Jobs/Load(Job)", "kqr|repo1|Jobs/Load|Job"},
        {"kqr://repo1/Jobs", "kqr|repo1||Folder"},
        {"kqr://repo1", "kqr|||Folder"},
        {"kqr://r/", "kqr|r||Folder"},
        {"kqr://%41/x(T)", "kqr|A|x|T"},
        {"kqr://r/%2541(%2542)", "kqr|r|A|%42"},  // the name is unescaped twice, the type once
        {"kqr://r/a(b)c(d)e", "kqr|r|a(b)c|d"},
        {"kqr://r/a)b(c", "kqr|r|a)b|"},  // closed before it is opened
        {"kqr://r/(T)", "kqr|r||T"},
        {"kqr://r/(T", "kqr|r||Folder"},
        {"kqr://r/a(T", "kqr|r||Folder"},
        {"kqr://r/aT)", "kqr|r||Folder"},
        {"kqr://r/()", "kqr|r||"},
        {"kqr://r/)(", "kqr|r||Folder"},
        {"kqr:x//r/a(T)", "kqr|r|a|T"},
    };
    for (auto const &[text, expected] : cases) {
        KqbString scheme, host, name, type;
        EXPECT_TRUE(getPathURLComponentsFromString(text, &scheme, &host, &name, &type)) << text;
        EXPECT_EQ(shown(scheme) + "|" + shown(host) + "|" + shown(name) + "|" + shown(type),
                  expected);
        EXPECT_TRUE(getPathURLComponentsFromString(text, &scheme, nullptr, nullptr, nullptr));
    }
    KqbString scheme, other("before");
    EXPECT_FALSE(getPathURLComponentsFromString("KQR://r/a(T)", &scheme, &other, &other, &other));
    EXPECT_EQ(shown(scheme), "KQR");
    EXPECT_FALSE(getPathURLComponentsFromString("kqr://r/a(T)", nullptr, &other, &other, &other));
    EXPECT_FALSE(getPathURLComponentsFromString("", &scheme, &other, &other, &other));
    EXPECT_EQ(shown(scheme) + shown(other), "before");
}

// --- Without memory -------------------------------------------------------------------------------

TEST_F(KqURITest, failsCleanlyWithoutMemory) {
    for (char const *source :
         {"x://a-host-of-some-length/a path of some length%20?query=some%20text#f",
          "kqr://a-host-of-some-length/Jobs/Load what there is(Job)?q=1#f",
          "kqd://Sales.ODBC/dbo/Orders%20of%20the%20year/x/leaf", "kqf://srv.DB2/src/a/b/c/leaf",
          "rzsref://srv/a/b?ObjectType=Job#x", "hadoop:///user/x?a=1&b=2",
          "kqwt://A table?r=Real'1',d=Date'2017-05-05',s='O%27N'#start=0"}) {
        KqbString const text(source, true);
        SCOPED_TRACE(source);
        sweep([&] {
            auto const uri = own(getURIFromURIString(text));
            return uri != nullptr && uri->getURIString().compare(text) == 0;
        });
        auto const uri = parsed(source);
        KqbString const escaped = uri->getEscapedURIString();
        KqbString native;
        ASSERT_TRUE(getNativePath(uri.get(), &native));
        sweep([&] { return uri->getEscapedURIString().compare(escaped) == 0; });
        sweep([&] {
            KqbString path;
            return getNativePath(uri.get(), &path) && path.compare(native) == 0;
        });
        sweep([&] {
            KqbString error;
            KqbString const before = uri->getQuery();
            bool const added = uri->addQueryValue(borrow("key"), borrow("a value"), &error);
            return added ? error.isNull() : error.isNull() || before.compare(uri->getQuery()) != 0;
        });
    }
}

TEST_F(KqURITest, functionsFailCleanlyWithoutMemory) {
    std::string const large(3000, '%');
    KqbString const text((large + " and \\ some").c_str());
    sweepAllocations([&] {
        KqbString out, error;
        char specials[] = " ";
        bool const escaped = getEscapeStringForURI(text, specials, 1, &out, &error);
        return escaped ? error.isNull() : error.isNull() || !out.isNull();
    });
    sweepAllocations([&] {
        KqbString out;
        bool const unescaped =
            getUnEscapeStringFromURI(text, &out) && convertBackSlashesToSlashes(text, &out);
        return unescaped || !out.isNull();
    });
    sweep([] { return own(getURI(borrow("s"), borrow("h"), borrow("a\\path"))) != nullptr; });
    sweep([] {
        KqbString scheme;
        return getPathURLComponentsFromString(borrow("kqr://h/a(b)"), &scheme, nullptr, nullptr,
                                              nullptr);
    });
}

}  // namespace
