#include "kqb/kqhadoopuri.h"

#include "uri/uri_test.h"

namespace {

using KqHadoopURITest = URITest;

Owner<KqHadoopURI> location(char const *text) {
    return own(dynamic_cast<KqHadoopURI *>(getURIFromURIString(text)));
}

TEST_F(KqHadoopURITest, parses) {
    char const *const cases[][3] = {
        // text, components, escaped text
        {"hadoop:///user/x.csv", "hadoop||user/x.csv||", "hadoop:///user/x.csv"},
        {"hadoop:///a?k=1&l=%26&k=2", "hadoop||a|k=2&l=%26|", "hadoop:///a?k=2&l=%26"},
        {"hadoop:/// a%20b%20 ? k=v ", "hadoop||a b |k=v|", "hadoop:///a%20b%20?k=v"},
        {"hadoop:///\t%09\xC2\xA0?\n", "hadoop||\t||", "hadoop:///%09"},
        {"hadoop:///a#b?c=d#e?f", "hadoop||a#b|c=d%23e?f|", "hadoop:///a%23b?c=d%23e?f"},
        {"hadoop:///a?&&k=v&", "hadoop||a|k=v|", "hadoop:///a?k=v"},
        {"hadoop:///?", "hadoop||||", "hadoop:///"},
        {"hadoop://", "hadoop||||", "hadoop:///"},
        {"hadoop:////a", "hadoop||/a||", "hadoop:////a"},
        {"hadoop://name/a", "hadoop||ame/a||", "hadoop:///ame/a"},  // two slashes: a letter lost
        {"hadoop://\xC3\xA9/a", "hadoop||/a||", "hadoop:////a"},
        {"hadoop:///\xC3\xA9?\xC3\xA9=\xC3\xA9", "hadoop||\xC3\xA9|%C3%A9=%C3%A9|",
         "hadoop:///%C3%A9?%C3%A9=%C3%A9"},
    };
    for (auto const &[text, expected, escaped] : cases) {
        SCOPED_TRACE(text);
        auto const uri = location(text);
        ASSERT_NE(uri, nullptr);
        EXPECT_EQ(components(*uri), expected);
        EXPECT_EQ(shown(uri->getURIString()), text);
        EXPECT_EQ(shown(uri->getEscapedURIString()), escaped);
        EXPECT_EQ(components(*parsed(escaped)), expected);
    }
    for (char const *text :
         {"hadoop:///a?b", "hadoop:///a?=b", "hadoop:///a?k=v&b", "hadoop:///?a&b=c"}) {
        EXPECT_EQ(parsed(text), nullptr) << text;
    }
}

TEST_F(KqHadoopURITest, propertiesChangeTheText) {
    auto const uri = location("hadoop:///a/b c?k=1");
    KqbString error("before");
    EXPECT_TRUE(uri->addQueryValue("\xC3\xA9 ", "x&y\t", &error));
    EXPECT_TRUE(error.isNull());
    EXPECT_EQ(shown(uri->getURIString()), "hadoop:///a/b c?k=1&%C3%A9%20=x%26y\t");
    EXPECT_EQ(shown(uri->getEscapedURIString()), "hadoop:///a/b%20c?k=1&%C3%A9%20=x%26y%09");
    auto const again = own(getURIFromURIString(uri->getEscapedURIString()));
    EXPECT_EQ(components(*again), components(*uri));
    EXPECT_EQ(shown(uri->getQueryValue("\xC3\xA9 ")), "x&y\t");
    EXPECT_TRUE(uri->getQueryValue("K").isNull());

    for (char const *refused : {"a", "=b", "a=1&b"}) {
        EXPECT_FALSE(uri->setQuery(refused, &error));
        EXPECT_EQ(shown(error), "The query is not a list of pairs KEY=VALUE");
    }
    EXPECT_FALSE(uri->addQueryValue("", "x", &error));
    EXPECT_EQ(shown(error), "Error adding query value");
    EXPECT_EQ(shown(uri->getQueryValue("k")), "1");
    EXPECT_TRUE(uri->setQuery("k=2&k=3", &error));
    EXPECT_EQ(shown(uri->getURIString()), "hadoop:///a/b c?k=3");
    EXPECT_TRUE(uri->setQuery(KqbString(), nullptr));
    EXPECT_EQ(shown(uri->getURIString()), "hadoop:///a/b c");
}

TEST_F(KqHadoopURITest, buildsAndNavigates) {
    auto const uri = own(getHadoopURIFromComponents("/user/%41\\b"));
    EXPECT_EQ(shown(uri->getURIString()), "hadoop:////user/A\\b");
    EXPECT_EQ(shown(uri->getLeafName()), "A\\b");
    auto const parent = own(uri->getParent());
    EXPECT_EQ(shown(parent->getURIString()), "hadoop:////user");
    auto const root = own(parent->getParent());
    EXPECT_EQ(shown(root->getURIString()), "hadoop:///");
    EXPECT_EQ(root->getParent(), nullptr);
}

TEST_F(KqHadoopURITest, failsCleanlyWithoutMemory) {
    auto const uri = location("hadoop:///a/path/of/some/length/leaf?k=1&l=2");
    sweep([&] { return own(uri->getParent()) != nullptr && !uri->getLeafName().isNull(); });
    sweep([&] { return !uri->getQueryValue(borrow("k")).isNull(); });
    sweep([&] {
        auto const changed = own(getHadoopURIFromComponents(borrow("p")));
        KqbString error;
        if (changed == nullptr || !changed->setQuery(borrow("k=1&l=%20"), &error)) return false;
        return error.isNull() && changed->getQuery().compare("k=1&l=%20") == 0;
    });
}

}  // namespace
