#include "kqb/kqdatauri.h"

#include <array>

#include "uri/uri_test.h"

namespace {

using KqDataURITest = URITest;

Owner<KqDataURI> built(char const *scheme, std::array<char const *, 7> const &c) {
    return own(getDataURIFromComponents(scheme, c[0], c[1], c[2], c[3], c[4], c[5], c[6]));
}

// location|source|sourceType|segment1|segment2|segment3|leaf
std::string parts(KqDataURI &uri) {
    return shown(uri.getLocation()) + "|" + shown(uri.getSource()) + "|" +
           shown(uri.getSourceType()) + "|" + shown(uri.getSegment1()) + "|" +
           shown(uri.getSegment2()) + "|" + shown(uri.getSegment3()) + "|" + shown(uri.getLeaf());
}

TEST_F(KqDataURITest, parses) {
    struct {
        char const *text, *parts, *components, *escaped;
    } const cases[] = {
        {"kqd://Sales/", "|Sales|ODBC||||", "kqd|Sales.ODBC|///||", "kqd://Sales.ODBC/"},
        {"kqd://Sales", "||ODBC||||", "kqd|.ODBC|///||", "kqd:///"},
        {"kqd://Sales.ODBC/dbo/Orders/", "|Sales|ODBC|dbo|Orders||",
         "kqd|Sales.ODBC|dbo/Orders//||", "kqd://Sales.ODBC/dbo/Orders/"},
        {"kqd://S.T/a/b/c/leaf", "|S|T|a|b|c|leaf", "kqd|S.T|a/b/c/||", "kqd://S.T/a/b/c/leaf"},
        {"kqd://S.T/a/b/c/d/leaf", "|S|T|a|b|c/d|leaf", "kqd|S.T|a/b/c/d/||",
         "kqd://S.T/a/b/c/d/leaf"},
        {"kqd://S.T/a/b", "|S|T||||", "kqd|S.T|///||", "kqd://S.T/"},
        {"kqd://S.T/dbo/", "|S|T|dbo||dbo|", "kqd|S.T|dbo//dbo/||", "kqd://S.T/dbo//dbo/"},
        {"kqd://S.T/leaf", "|S|T||||leaf", "kqd|S.T|///||", "kqd://S.T////leaf"},
        {"kqd://S.T//b/c/d", "|S|T||b|c|d", "kqd|S.T|/b/c/||", "kqd://S.T//b/c/d"},
        {"kqd://.T/abcd", "|.T|ODBC||||abcd", "kqd|.T.ODBC|///||", "kqd://.T.ODBC////abcd"},
        {"kqd://%41%2E.%42.c/a%2Fb/", "|A.|%42.c|a|b||", "kqd|A..%42.c|a/b//||",
         "kqd://A..%42.c/a/b/"},
        {"kqd://S./%2541/%2542/", "|S||A|B||", "kqd|S|A/B//||", "kqd://S./A/B/"},
        {"kqd://S.T/\xC3\xA9 /b/c?q#f", "|S|T|\xC3\xA9 |b||c", "kqd|S.T|\xC3\xA9 /b//||",
         "kqd://S.T/%C3%A9 /b//c"},
        {"kqf://L.T/src/a/b/c/leaf", "L|src|T|a|b|c|leaf", "kqf|L.T|src/a/b/c/||",
         "kqf://L.T/src/a/b/c/leaf"},
        {"kqf://L/a/bc", "L||||||", "kqf|L.|////||", "kqf://L./"},
        {"kqf://L/abc/d", "L|abc|||abc||d", "kqf|L.|abc//abc//||", "kqf://L./abc//abc//d"},
        {"kqf://L/a/bcd", "L|a||||a|bcd", "kqf|L.|a///a/||", "kqf://L./a///a/bcd"},
        {"kqf://L/\xC3\xA9/bcd", "L|\xC3\xA9||||\xC3\xA9|bcd", "kqf|L.|\xC3\xA9///\xC3\xA9/||",
         "kqf://L./%C3%A9///%C3%A9/bcd"},
        {"kqf://L/ab/cd/", "L|ab||cd||ab/cd|", "kqf|L.|ab/cd//ab/cd/||", "kqf://L./ab/cd//ab/cd/"},
        {"kqf:///src/a/b/c/leaf", "|src||a|b|c|leaf", "kqf||src/a/b/c/||", "kqf:///src/a/b/c/leaf"},
    };
    for (auto const &c : cases) {
        SCOPED_TRACE(c.text);
        auto const uri = parsed(c.text);
        ASSERT_NE(uri->asDataURI(), nullptr);
        EXPECT_EQ(uri->asReposURI(), nullptr);
        EXPECT_EQ(parts(*uri->asDataURI()), c.parts);
        EXPECT_EQ(components(*uri), c.components);
        EXPECT_EQ(shown(uri->getURIString()), c.text);
        EXPECT_EQ(shown(uri->getEscapedURIString()), c.escaped);
    }
}

TEST_F(KqDataURITest, composes) {
    struct {
        char const *scheme;
        std::array<char const *, 7> components;  // in the order of the function
        char const *text;
    } const cases[] = {
        {"kqf", {"A", "C", "B", "D", "E", "F", "G"}, "kqf://A.B/C/D/E/F/G"},
        {"kqf", {"A", "C", "B", "", "", "", ""}, "kqf://A.B/C/"},
        {"kqf", {"A", "", "B", "", "", "", "G"}, "kqf://A.B/////G"},
        {"kqf", {"", "C", "B", "D", "E", "F", "G"}, "kqf:///C/D/E/F/G"},
        {"kqf", {"", "", "B", "", "E", "", ""}, "kqf://///E/"},
        {"kqf", {"", "", "B", "", "", "", ""}, "kqf:////"},
        {"kqd", {"A", "C", "B", "D", "E", "F", "G"}, "kqd://C.B/D/E/F/G"},
        {"kqd", {"", "C", "", "D", "E", "F", ""}, "kqd://C./D/E/F/"},
        {"kqd", {"", "C", "B", "", "E", "", ""}, "kqd://C.B//E/"},
        {"kqd", {"", "", "B", "D", "E", "F", "G"}, "kqd:///D/%/E/F"},
        {"kqd", {"", "", "", "", "", "", "G"}, "kqd:////%//"},
        {"kqd", {"", "", "B", "D", "E", "F", ""}, "kqd:///D/E/F/"},
        {"kqd", {"", "", "", "", "", "", ""}, "kqd:///"},
        {"KQD", {"A", "C", "B", "D", "E", "F", "G"}, ""},
        {"kqd", {"", "%41 b", "%42", "%2541", "a/b", "", "?"}, "kqd://A b.B/%41/a/b//?"},
    };
    for (auto const &c : cases) {
        auto const uri = built(c.scheme, c.components);
        EXPECT_EQ(shown(uri->getEscapedURIString()), c.text);
        EXPECT_EQ(shown(uri->getURIString()), c.text);
    }
    auto const uri = built("kqf", {"\xC3\xA4", "\xC3\xA5", "\xC3\xA6", "", "", "", "\xFF"});
    EXPECT_EQ(shown(uri->getEscapedURIString()), "kqf://\xC3\xA4.\xC3\xA6/%C3%A5////\xFF");
}

TEST_F(KqDataURITest, derivesHostAndPathWhenAskedFirst) {
    KqbString path;
    EXPECT_TRUE(getNativePath(built("kqd", {"", "C", "B", "D", "", "F", "G"}).get(), &path));
    EXPECT_EQ(shown(path), "\\\\C.B\\D\\\\F\\");
    EXPECT_EQ(shown(built("kqf", {"L", "C", "", "", "", "", ""})->getHost()), "L.");
    EXPECT_EQ(shown(built("kqf", {"", "C", "T", "", "", "", ""})->getHost()), "");
    EXPECT_EQ(components(*built("other", {"L", "C", "T", "", "", "", ""})), "other||||");
}

TEST_F(KqDataURITest, splitsIntoOutputs) {
    std::array<KqbString, 8> out;
    auto const split = [&out](char const *text) {
        for (KqbString &output : out) output = "-";
        bool const result = getDataURIComponentsFromString(text, &out[0], &out[1], &out[2], &out[3],
                                                           &out[4], &out[5], &out[6], &out[7]);
        std::string all;
        for (KqbString const &output : out) all += shown(output) + "|";
        return all + (result ? "true" : "false");
    };
    EXPECT_EQ(split("kqd://S/abc"), "kqd|S|ODBC|-|-|-|-||true");
    EXPECT_EQ(split("kqd://S.T/a//c/"), "kqd|S|T|a|-|c|-||true");
    EXPECT_EQ(split("kqf://L/src/"), "kqf|-||-|-|-|-|L|true");
    EXPECT_EQ(split("kqf://L/long/"), "kqf|long||-|long|-|-|L|true");
    EXPECT_EQ(split("KQD://x/yyyyy"), "KQD|-|-|-|-|-|-|-|false");
    EXPECT_EQ(split("no text"), "|-|-|-|-|-|-|-|false");
    EXPECT_FALSE(getDataURIComponentsFromString("kqd://S/", &out[0], &out[1], &out[2], &out[3],
                                                &out[4], &out[5], &out[6], nullptr));
    EXPECT_FALSE(getDataURIComponentsFromString("kqd://S/", nullptr, &out[1], &out[2], &out[3],
                                                &out[4], &out[5], &out[6], &out[7]));
    EXPECT_EQ(shown(out[0]), "");
}

TEST_F(KqDataURITest, failsCleanlyWithoutMemory) {
    KqbString const part = borrow("escaped%20");
    sweep([&] {
        auto const uri =
            own(getDataURIFromComponents("kqf", part, part, part, part, part, part, part));
        if (uri == nullptr) return false;
        KqbString const host = uri->getHost();
        return !host.isNull() && !uri->getPath().isNull() && !uri->getURIString().isNull();
    });
    sweep([&] {
        std::array<KqbString, 8> out;
        bool const done =
            getDataURIComponentsFromString(borrow("kqd://a.b/c/d/e/f"), &out[0], &out[1], &out[2],
                                           &out[3], &out[4], &out[5], &out[6], &out[7]);
        for (KqbString const &output : out) EXPECT_EQ(output.isNull(), !done);
        return done;
    });
}

}  // namespace
