#include "kqb/kqbpath.h"

#include <gtest/gtest.h>

#include <array>
#include <tuple>

#include "support/pool_test.h"

namespace {

class Path : public PoolTest {};

TEST_F(Path, Concat) {
    std::tuple<char const *, char const *, char const *> const cases[] = {
        {"a//", "b/c", "a/b/c"}, {"", "b", "b"},  {nullptr, nullptr, ""},
        {"a", nullptr, "a"},     {"a", "/b", ""}, {"", "/b", "/b"}};
    for (auto const &[directory, name, expected] : cases) {
        EXPECT_STREQ(kqbConcatPath(KqbString(directory), KqbString(name)).asCstr(), expected);
    }
    std::string const deep(5'000, 'd');
    EXPECT_EQ(kqbConcatPath(KqbString(deep.c_str()), KqbString("n")).asCstr(), deep + "/n");
}

TEST_F(Path, Parse) {
    std::array<char const *, 4> const cases[] = {
        {"/a/b.c", "/a", "b.c", "c"}, {"b", "", "b", ""}, {"a//b.tar.gz", "a", "b.tar.gz", "gz"}};
    for (auto const &c : cases) {
        KqbString path(c[0]), name, extension;
        EXPECT_TRUE(kqbParsePath(path, &path, &name, &extension)) << "also over the path itself";
        EXPECT_STREQ(path.asCstr(), c[1]);
        EXPECT_STREQ(name.asCstr(), c[2]);
        EXPECT_STREQ(extension.asCstr(), c[3]);
        EXPECT_FALSE(path.isNull() || extension.isNull());
    }
    KqbString name("old");
    EXPECT_FALSE(kqbParsePath(KqbString(), nullptr, &name, nullptr));
    EXPECT_TRUE(name.isNull());
    EXPECT_FALSE(kqbParsePath(KqbString(""), &name, &name, &name));
}

}  // namespace
