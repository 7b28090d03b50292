#include "kqb/kqrzsrefuri.h"

#include "uri/kqrzsrefuri_internal.h"
#include "uri/uri_test.h"

namespace {

using KqRZSRefURITest = URITest;

Owner<KqRZSRefURI> reference(char const *text) {
    return own(dynamic_cast<KqRZSRefURI *>(getURIFromURIString(text)));
}

TEST_F(KqRZSRefURITest, parsesAndNavigates) {
    struct {
        char const *text, *components, *objectType, *serviceType, *leaf, *parent, *hostless,
            *escaped;
    } const cases[] = {
        {"rzsref://srv/a/b?ObjectType=Job&ServiceType=Batch",
         "rzsref|srv|a/b|ObjectType=Job&ServiceType=Batch|", "Job", "Batch", "b", "rzsref://srv/a",
         "rzsref:///a/b?ObjectType=Job&ServiceType=Batch",
         "rzsref://srv/a/b?ObjectType=Job&ServiceType=Batch"},
        {"rzsref://srv/b#f g", "rzsref|srv|b||f g", "", "", "b", "rzsref://srv/", "rzsref:///b",
         "rzsref://srv/b#f%20g"},
        {"rzsref://srv/", "rzsref|srv|||", "", "", "", "none", "rzsref:///", "rzsref://srv/"},
        {"rzsref://srv//b c?k=1&k=2&objecttype=x&odd", "rzsref|srv|/b c|k=1&k=2&objecttype=x&odd|",
         "", "", "/b c", "rzsref://srv/", "rzsref:////b c?k=1&k=2&objecttype=x&odd",
         "rzsref://srv//b%20c?k=2&objecttype=x"},
        {"rzsref://srv/a?odd", "rzsref|srv|a|odd|", "", "", "a", "rzsref://srv/", "rzsref:///a?odd",
         "rzsref://srv/a"},
        {"rzsref://srv/a?ObjectType=1&ObjectType=", "rzsref|srv|a|ObjectType=1&ObjectType=|", "",
         "", "a", "rzsref://srv/",
         "rzsref:///a?ObjectType=1&ObjectType=", "rzsref://srv/a?ObjectType="},
    };
    for (auto const &c : cases) {
        SCOPED_TRACE(c.text);
        auto const uri = reference(c.text);
        ASSERT_NE(uri, nullptr);
        EXPECT_EQ(components(*uri), c.components);
        EXPECT_EQ(shown(uri->getObjectType()), c.objectType);
        EXPECT_EQ(uri->getObjectType().isNull(), *c.objectType == '\0');
        EXPECT_EQ(shown(uri->getServiceType()), c.serviceType);
        EXPECT_FALSE(uri->getServiceType().isNull());
        EXPECT_EQ(shown(uri->getLeafName()), c.leaf);
        EXPECT_EQ(shown(uri->getHostlessURIString()), c.hostless);
        EXPECT_EQ(shown(uri->getEscapedURIString()), c.escaped);
        EXPECT_EQ(shown(uri->getURIString()), c.text);
        EXPECT_EQ(uri->getHostName().compare(uri->getHost()), 0);
        EXPECT_EQ(uri->asReposURI(), nullptr);
        EXPECT_EQ(uri->asDataURI(), nullptr);
        KqRZSRefURI *const parent = uri->getParent();
        EXPECT_EQ(parent != nullptr ? shown(own(parent)->getURIString()) : "none", c.parent);
    }
}

TEST_F(KqRZSRefURITest, builds) {
    auto const uri = own(getRZSRefURIFromComponents("%41", "%42 ?", "k=%43"));
    EXPECT_EQ(components(*uri), "rzsref|A|B ?|k=%43|");
    EXPECT_EQ(shown(uri->getURIString()), "rzsref://A/B ?");
    EXPECT_EQ(shown(uri->getEscapedURIString()), "rzsref://A/B%20%3F?k=C");
}

TEST_F(KqRZSRefURITest, composesWithoutAScheme) {
    struct Bare : KqRZSRefURIImpl {
        Bare() {
            parse("x://h/p%20?q=1");
            EXPECT_EQ(shown(getScheme()), "rzsref");
            fields_.scheme.setNull();
            fields_.text.setNull();
        }
    } bare;
    EXPECT_EQ(shown(bare.getURIString()), "rzsref://h/p ");
    EXPECT_EQ(shown(bare.getEscapedURIString()), "rzsref://h/p%20?q=1");
    EXPECT_EQ(shown(bare.getHostlessURIString()), "rzsref:///p ()?q=1");
}

TEST_F(KqRZSRefURITest, splitsAnyText) {
    KqbString host, path, query, fragment;
    EXPECT_TRUE(
        getRZSRefURIComponentsFromString("x://%41/%42?%43#%44", &host, &path, &query, &fragment));
    EXPECT_EQ(shown(host) + shown(path) + shown(query) + shown(fragment), "%41BCD");
    EXPECT_TRUE(getRZSRefURIComponentsFromString("no", &host, nullptr, nullptr, nullptr));
    EXPECT_EQ(shown(host), "");
}

TEST_F(KqRZSRefURITest, failsCleanlyWithoutMemory) {
    auto const uri = reference("rzsref://srv/a/b?ObjectType=Job&ServiceType=%20");
    sweep([&] { return own(uri->getParent()) != nullptr; });
    sweep([&] { return !uri->getServiceType().isNull(); });
    sweep([&] { return !uri->getHostlessURIString().isNull() && !uri->getLeafName().isNull(); });
    sweep([] {
        KqbString path;
        return getRZSRefURIComponentsFromString(borrow("x://h/p"), nullptr, &path, nullptr,
                                                nullptr);
    });
}

}  // namespace
