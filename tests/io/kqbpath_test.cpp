#include "kqb/kqbpath.h"

#include <gtest/gtest.h>

#include "support/pool_test.h"

namespace {

class Path : public PoolTest {};

TEST_F(Path, Concat) {
    struct {
        char const *directory, *name, *expected;
    } const cases[] = {
        {"a", "b", "a/b"},      {"a/", "b", "a/b"},  {"/", "b", "/b"}, {"a//", "b/c", "a/b/c"},
        {"", "b", "b"},         {nullptr, "b", "b"}, {"a/", "", "a/"}, {"a", nullptr, "a"},
        {nullptr, nullptr, ""}, {"a", "/b", ""},     {"", "/b", "/b"}, {"a", "..", "a/.."},
        {"a b", "ä", "a b/ä"},
    };
    for (auto const &c : cases) {
        KqbString const joined = kqbConcatPath(KqbString(c.directory), KqbString(c.name));
        EXPECT_FALSE(joined.isNull());
        EXPECT_STREQ(joined.asCstr(), c.expected);
    }
    std::string const deep(5'000, 'd');
    EXPECT_EQ(kqbConcatPath(KqbString(deep.c_str()), KqbString("n")).asCstr(), deep + "/n");
}

TEST_F(Path, Parse) {
    struct {
        char const *path, *directory, *name, *extension;
    } const cases[] = {
        {"/a/b.c", "/a", "b.c", "c"},
        {"b", "", "b", ""},
        {"/b", "/", "b", ""},
        {"a//b.tar.gz", "a", "b.tar.gz", "gz"},
        {"a.d/.hidden", "a.d", ".hidden", ""},
        {"a/", "a", "", ""},
        {"x.", "", "x.", ""},
        {"/", "/", "", ""},
    };
    for (auto const &c : cases) {
        KqbString path(c.path), directory, name, extension;
        EXPECT_TRUE(kqbParsePath(path, &directory, &name, &extension));
        EXPECT_STREQ(directory.asCstr(), c.directory) << c.path;
        EXPECT_STREQ(name.asCstr(), c.name) << c.path;
        EXPECT_STREQ(extension.asCstr(), c.extension) << c.path;
        EXPECT_FALSE(directory.isNull() || name.isNull() || extension.isNull());
        EXPECT_TRUE(kqbParsePath(path, &path, nullptr, nullptr));
        EXPECT_STREQ(path.asCstr(), c.directory);
    }
    KqbString name("old");
    EXPECT_FALSE(kqbParsePath(KqbString(), nullptr, &name, nullptr));
    EXPECT_TRUE(name.isNull());
    EXPECT_FALSE(kqbParsePath(KqbString(""), &name, &name, &name));
}

}  // namespace
