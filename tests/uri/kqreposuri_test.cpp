#include "kqb/kqreposuri.h"

#include "uri/uri_test.h"

namespace {

using KqReposURITest = URITest;

std::string described(KqReposURI *uri) {
    if (uri == nullptr) return "none";
    auto const owner = own(uri);
    return shown(uri->getURIString()) + (uri->isFolder() ? " folder" : "");
}

TEST_F(KqReposURITest, parsesAndNavigates) {
    struct {
        char const *text, *components, *type, *leaf, *parent, *root, *hostless, *escaped;
        bool isFolder;
    } const cases[] = {
        {"kqr://repo1/Jobs/Load(Job)", "kqr|repo1|Jobs/Load||", "Job", "Load",
         "kqr://repo1/Jobs(Folder)", "kqr://repo1/(Folder) folder", "kqr:///Jobs/Load(Job)",
         "kqr://repo1/Jobs/Load(Job)", false},
        {"kqr://repo1/Jobs", "kqr|repo1|||", "Folder", "", "none", "kqr://repo1/(Folder) folder",
         "kqr:///(Folder)", "kqr://repo1/(Folder)", true},
        {"kqr://repo1/Load(Job)?q=%41#f", "kqr|repo1|Load|q=A|f", "Job", "Load",
         "kqr://repo1/(Folder) folder", "kqr://repo1/(Folder) folder", "kqr:///Load(Job)",
         "kqr://repo1/Load(Job)", false},
        {"kqr://r//\xC3\xA9 x(folder)", "kqr|r|/\xC3\xA9 x||", "folder", "/\xC3\xA9 x",
         "kqr://r/(Folder) folder", "kqr://r/(Folder) folder",
         "kqr:///"
         "/\xC3\xA9 x(folder)",
         "kqr://r//%C3%A9 x(folder)", false},
        {"kqr://r/a\\b/c/(T)", "kqr|r|a\\b/c/||", "T", "", "kqr://r/a/b/c(Folder)",
         "kqr://r/(Folder) folder", "kqr:///a\\b/c/(T)", "kqr://r/a\\b/c/(T)", false},
        {"kqr:///(T)", "kqr||||", "T", "", "none", "kqr:///(Folder) folder", "kqr:///(T)",
         "kqr:///(T)", false},
    };
    for (auto const &c : cases) {
        SCOPED_TRACE(c.text);
        auto const owner = parsed(c.text);
        KqReposURI *const uri = owner->asReposURI();
        ASSERT_NE(uri, nullptr);
        EXPECT_EQ(uri->asDataURI(), nullptr);
        EXPECT_EQ(components(*uri), c.components);
        EXPECT_EQ(shown(uri->getType()), c.type);
        EXPECT_EQ(shown(uri->getLeafName()), c.leaf);
        EXPECT_EQ(described(uri->getParentFolder()), c.parent);
        EXPECT_EQ(described(uri->getRootFolder()), c.root);
        EXPECT_EQ(shown(uri->getHostlessURIString()), c.hostless);
        EXPECT_EQ(shown(uri->getEscapedURIString()), c.escaped);
        EXPECT_EQ(shown(uri->getURIString()), c.text);
        EXPECT_EQ(uri->isFolder(), c.isFolder);
        EXPECT_EQ(uri->getHostName().compare(uri->getHost()), 0);
        EXPECT_FALSE(uri->getEmptyText().isNull());
        EXPECT_EQ(shown(uri->getEmptyText()), "");
    }
}

TEST_F(KqReposURITest, builds) {
    auto const uri = own(getReposURIFromComponents("%41", "a\\%42%5C", "%43"));
    EXPECT_EQ(shown(uri->getURIString()), "kqr://A/a/B/(%43)");
    EXPECT_EQ(described(getReposURIFromComponents(KqbString(), KqbString(), "Folder")),
              "kqr:///(Folder) folder");
}

TEST_F(KqReposURITest, failsCleanlyWithoutMemory) {
    auto const owner = parsed("kqr://a-host-of-some-length/a/folder/of/some/length/leaf(Job)");
    KqReposURI *const uri = owner->asReposURI();
    sweep([&] { return own(uri->getParentFolder()) != nullptr; });
    sweep([&] { return !uri->getLeafName().isNull(); });
    sweep([&] { return !uri->getHostlessURIString().isNull(); });
    sweep([] {
        KqbString const part = borrow("p%20\\");
        return own(getReposURIFromComponents(part, part, part)) != nullptr;
    });
}

}  // namespace
