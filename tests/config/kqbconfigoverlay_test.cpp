#include "kqb/kqbconfigoverlay.h"

#include <functional>

#include "config/config_fixture.h"
#include "support/alloc_faults.h"

namespace {

class ConfigOverlayTest : public ConfigFixture {
protected:
    void read(KqbConfigOverlay &both, char const *base, char const *overlay) {
        ASSERT_TRUE(both.readBase(file("base", base)));
        ASSERT_TRUE(both.readOverlay(file("overlay", overlay)));
    }

    // "key:base/overlay " for every entry, "-" where a file does not have the key.
    static std::string entries(KqbConfigOverlay &both) {
        std::string text;
        for (int i = 0; i < both.getEntryCount(); ++i) {
            KqbString key, base("-"), overlay("-");
            EXPECT_TRUE(both.getEntry(i, &key, &base, &overlay));
            text += shown(key) + ":" + shown(base) + "/" + shown(overlay) + " ";
        }
        return text;
    }

    std::string written(KqbConfigOverlay &both) {
        EXPECT_TRUE(both.writeOverlay(path("out"))) << shown(both.getErrorMessage());
        return folder_.read("out");
    }
};

TEST_F(ConfigOverlayTest, changesGoIntoTheOverlay) {
    struct {
        char const *base;
        char const *overlay;
        std::function<void(KqbConfigOverlay &)> change;
        char const *entries;
        char const *written;
    } const cases[] = {
        {"b=1\nPath=2\n", "PATH=3\na=4\n", [](auto &) {}, "a:-/4 b:1/- Path:2/3 ", "PATH=3\na=4\n"},
        {"# why\na=1\n", "x=9\n", [](auto &o) { o.setOverlayEntry("A", "2"); }, "a:1/2 x:-/9 ",
         "x=9\n\n# why\nA=2\n"},
        {"# why\na=1\n", "# own\na=2\n", [](auto &o) { o.setOverlayEntry("a", "3"); }, "a:1/3 ",
         "# own\na=3\n"},
        {"a=1\n", "a=2\nb=3\n",
         [](auto &o) {
             for (char const *key : {"A", "B", "none"}) o.setOverlayEntry(key, "");
             o.setOverlayEntry("a", KqbString());
         },
         "a:1/- ", "#-DELETED A=2\n#-DELETED B=3\n"},
        {"a=1\n", "", [](auto &o) { o.setOverlayEntry("a", ""); }, "a:1/- ", ""},
        {"a=\n", "", [](auto &o) { o.setEntryComment("a", "two\nlines"); }, "a:/ ",
         "\n#two\\nlines\na=\n"},
        {"# why\na=1\n", "a=2\n", [](auto &o) { o.setEntryComment("a", " mine"); }, "a:1/2 ",
         "# mine\na=2\n"},
        {"", "", [](auto &o) { o.setEntryComment("a", "lost"); }, "", ""},
        {"", "",
         [](auto &o) {
             o.setOverlayEntry("b", "1");
             o.setOverlayEntry("a", "2");
             o.setOverlayEntry("B", "");
         },
         "a:-/2 ", "\na=2\n"},
    };
    for (auto const &c : cases) {
        KqbConfigOverlay both;
        read(both, c.base, c.overlay);
        entries(both);  // places are worked out before the change, and must follow it
        c.change(both);
        EXPECT_EQ(entries(both), c.entries) << c.base << c.overlay;
        EXPECT_EQ(written(both), c.written) << c.base << c.overlay;
        EXPECT_EQ(folder_.read("base"), c.base);
    }
}

TEST_F(ConfigOverlayTest, commentsShowThrough) {
    KqbConfigOverlay both;
    read(both, "#base\na=1\n#base\nb=1\n#base\nc=1\n", "a=2\n#own\nB=2\n#own\nd=2\ne=3\n");
    char const *const expected[][2] = {{"A", "base"}, {"b", "own"}, {"c", "base"},
                                       {"d", "own"},  {"e", ""},    {"none", "<null>"}};
    for (auto const &[key, comment] : expected) {
        EXPECT_EQ(shown(both.getEntryComment(key)), comment) << key;
    }
}

TEST_F(ConfigOverlayTest, placesOutsideGiveNull) {
    KqbConfigOverlay both;
    read(both, "a=1\n", "");
    for (int index : {-1, 1}) {
        KqbString key("k"), base("b"), overlay("o");
        EXPECT_FALSE(both.getEntry(index, &key, &base, &overlay));
        EXPECT_TRUE(key.isNull() && base.isNull() && overlay.isNull());
    }
    EXPECT_TRUE(both.getEntry(0, nullptr, nullptr, nullptr));
    EXPECT_FALSE(both.getEntry(1, nullptr, nullptr, nullptr));
}

TEST_F(ConfigOverlayTest, filesThatVanish) {
    KqbConfigOverlay both;
    read(both, "a=1\n", "b=2\n");
    EXPECT_TRUE(both.getErrorMessage().isNull());
    EXPECT_FALSE(both.readBase(path("gone")));
    EXPECT_NE(shown(both.getErrorMessage()).find("gone"), std::string::npos);
    EXPECT_FALSE(both.readOverlay(path("vanished")));
    EXPECT_NE(shown(both.getErrorMessage()).find("vanished"), std::string::npos);
    EXPECT_FALSE(both.writeOverlay(path("no/such/folder")));
    EXPECT_NE(shown(both.getErrorMessage()).find("folder"), std::string::npos);
    EXPECT_EQ(entries(both), "a:1/- b:-/2 ");
}

TEST_F(ConfigOverlayTest, filesReadInTheWrongOrder) {
    KqbConfigOverlay both;
    ASSERT_TRUE(both.readOverlay(file("overlay", "A=2\nb=3\n")));
    ASSERT_TRUE(both.readBase(file("base", "#why\na=1\n")));
    EXPECT_EQ(entries(both), "a:1/- ");
    both.setOverlayEntry("b", "4");
    both.setEntryComment("a", "own");
    EXPECT_EQ(entries(both), "a:1/1 b:-/4 ");
    EXPECT_EQ(written(both), "#own\nA=1\nb=4\n");
    // What a first overlay brought counts as the base's when a second one is read.
    ASSERT_TRUE(both.readOverlay(file("second", "b=5\n")));
    both.setOverlayEntry("b", "");
    EXPECT_EQ(entries(both), "a:1/1 b:<null>/- ");
}

TEST_F(ConfigOverlayTest, handlesShare) {
    KqbConfigOverlay outer;
    {
        KqbConfigOverlay inner;
        outer = inner;
        KqbConfigOverlay const third(inner);
        inner.setOverlayEntry("a", "1");
        inner = third;
    }
    EXPECT_EQ(entries(outer), "a:-/1 ");
}

// Every allocation fails in turn: a change is made wholly or not at all, and keys never tell of an
// entry that is not there.
TEST_F(ConfigOverlayTest, withoutMemory) {
    std::string const longText(2000, 'x');  // goes to the heap, beyond the pool's stock
    KqbString const base = file("base", "# why\nkept=" + longText + "\nset=1\n");
    KqbString const overlay = file("overlay", "SET=2\ngone=" + longText + "\n");
    std::string text;
    for (long nth = 1; text.empty(); ++nth) {
        KqbConfigOverlay both;
        AllocFaults::failAt(nth);
        bool const isRead = both.readBase(base) && both.readOverlay(overlay);
        both.setOverlayEntry("kept", "new");
        both.setOverlayEntry("GONE", "");
        both.setOverlayEntry("added", "3");
        both.setEntryComment("set", "mine");
        KqbString value("untouched");
        bool const isTold = both.getEntry(0, nullptr, nullptr, &value);
        AllocFaults::off();
        EXPECT_EQ(both.getErrorMessage().isNull(), isRead) << nth;
        EXPECT_EQ(value.isNull(), !isTold) << nth;
        std::string const left = entries(both);
        EXPECT_EQ(left.find("<null>"), std::string::npos) << left;
        std::string const out = written(both);
        bool const isBrought = left.find("/new") != std::string::npos;
        bool const hasComment = out.find("\n# why\nkept=new\n") != std::string::npos;
        EXPECT_TRUE(!isRead || isBrought == hasComment) << out;
        if (!AllocFaults::hit()) text = out;
    }
    EXPECT_EQ(text,
              "#mine\nSET=2\n#-DELETED GONE=" + longText + "\n\nadded=3\n\n# why\nkept=new\n");
}

}  // namespace
