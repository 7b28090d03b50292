#include "kqb/kquriqueryhandler.h"

#include "uri/uri_test.h"

namespace {

using KqURIQueryHandlerTest = URITest;

Owner<KqURIQueryHandler> handler(std::string const &query, bool allowDuplicates) {
    return own(getURIQueryHandler(KqbString(query.c_str()), allowDuplicates));
}

// [key|value] of every pair.
std::string pairs(KqURIQueryHandler &query) {
    std::string text;
    KqbString key, value;
    int count = 0;
    for (; query.getPair(count, &key, &value); ++count) {
        text += "[" + shown(key) + "|" + shown(value) + "]";
    }
    EXPECT_EQ(static_cast<unsigned>(count), query.getCount());
    EXPECT_FALSE(query.getPair(-1, &key, &value));
    return text;
}

TEST_F(KqURIQueryHandlerTest, parsesAndComposes) {
    char const *const cases[][4] = {
        // text, pairs with duplicates, pairs without, composed with duplicates
        {"a=1&b=2", "[a|1][b|2]", "[a|1][b|2]", "a=1&b=2"},
        {"a=1&a=2", "[a|1][a|2]", "[a|2]", "a=1&a=2"},
        {"a=1&b=2&A=3&a=4", "[a|1][b|2][A|3][a|4]", "[a|4][b|2][A|3]", "a=1&b=2&A=3&a=4"},
        {"", "", "", ""},
        {"a", "", "", ""},
        {"a&b&c", "", "", ""},
        {"=1", "", "", ""},
        {"&&&", "", "", ""},
        {"&a=1&&b=2&", "[a|1][b|2]", "[a|1][b|2]", "a=1&b=2"},
        {"a==b=c", "[a|=b=c]", "[a|=b=c]", "a=%3Db%3Dc"},
        {"a=", "[a|]", "[a|]", "a="},
        {"a+b=c", "[a+b|c]", "[a+b|c]", "a+b=c"},
        {"a&b=c", "[a&b|][b|c]", "[a&b|][b|c]", "a%26b=&b=c"},
        {"=1&b=c", "[b|c]", "[b|c]", "b=c"},
        {"a%26=%3d%3D&%61=x", "[a&|==][a|x]", "[a&|==][a|x]", "a%26=%3D%3D&a=x"},
        {"a b=c#d&e=%25?/", "[a b|c#d][e|%?/]", "[a b|c#d][e|%?/]", "a%20b=c%23d&e=%?/"},
        {"\xC3\xA9=\xFF", "[\xC3\xA9|\xFF]", "[\xC3\xA9|\xFF]", "%C3%A9=\xFF"},
    };
    for (auto const &[text, all, last, composed] : cases) {
        auto const duplicates = handler(text, true);
        EXPECT_EQ(pairs(*duplicates), all) << text;
        EXPECT_EQ(pairs(*handler(text, false)), last) << text;
        EXPECT_EQ(shown(duplicates->getQueryString()), composed);
        EXPECT_FALSE(duplicates->getQueryString().isNull());
    }
}

TEST_F(KqURIQueryHandlerTest, addsAndReads) {
    auto const query = handler("a=1", false);
    EXPECT_TRUE(query->addValue("b", KqbString()));
    EXPECT_TRUE(query->addValue("", "x"));
    EXPECT_TRUE(query->addValue(KqbString(), "y"));
    EXPECT_TRUE(query->addValue("a", "%41"));
    EXPECT_TRUE(query->parse("b=2&c=3"));
    EXPECT_EQ(pairs(*query), "[a|%41][b|2][|y][c|3]");
    EXPECT_EQ(shown(query->getQueryString()), "a=%41&b=2&=y&c=3");
    KqbString value("before");
    EXPECT_FALSE(query->getPair(4, &value, nullptr));
    EXPECT_EQ(shown(value), "before");
    EXPECT_TRUE(query->getPair(3, nullptr, &value));
    EXPECT_EQ(shown(value), "3");
    EXPECT_TRUE(query->getPair(0, nullptr, nullptr));
}

TEST_F(KqURIQueryHandlerTest, longListsReplaceAsShortOnesDo) {
    std::string text, expected;
    for (int i = 0; i < 40000; ++i) {
        text += "key" + std::to_string(i % 20000) + "=" + std::to_string(i) + "&";
        if (i >= 20000) expected += "&key" + std::to_string(i - 20000) + "=" + std::to_string(i);
    }
    auto const query = handler(text, false);
    EXPECT_EQ(query->getCount(), 20000U);
    EXPECT_EQ(shown(query->getQueryString()), expected.substr(1));
    EXPECT_EQ(handler(text, true)->getCount(), 40000U);
}

// Parts without "=" take all up to the next one into their keys, so this names much more than it
// holds: what would be longer than the longest text is refused.
TEST_F(KqURIQueryHandlerTest, refusesKeysBeyondTheLongestText) {
    std::string text;
    for (int i = 0; i < 20000; ++i) text += "a&";
    EXPECT_EQ(handler(text + "=", true)->getCount(), 20000U);
    for (int i = 0; i < 60000; ++i) text += "a&";
    text += "=";
    auto const query = handler("x=1", true);
    EXPECT_FALSE(query->parse(text.c_str()));
    EXPECT_GT(query->getCount(), 10000U);
}

TEST_F(KqURIQueryHandlerTest, failsCleanlyWithoutMemory) {
    KqbString text("escaped%20key=and%20value&plain-key-of-some-length=plain");
    for (bool allowDuplicates : {true, false}) {
        sweep([&] {
            auto const query = own(getURIQueryHandler(KqbString(), allowDuplicates));
            KqbString key, value;
            if (query == nullptr) return false;
            bool const succeeded = query->parse(text) && query->addValue("plain", "x") &&
                                   query->getPair(1, &key, &value);
            EXPECT_EQ(key.isNull(), value.isNull());
            return succeeded && query->getCount() == 3 && !query->getQueryString().isNull();
        });
    }
}

}  // namespace
