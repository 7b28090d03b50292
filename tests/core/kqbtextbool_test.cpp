#include "core/kqbtextbool_internal.h"

#include <gtest/gtest.h>

namespace {

TEST(KqbTextBoolTest, readsTruthValues) {
    struct {
        char const *text;
        bool known, value;
    } const cases[] = {{"TRUE", true, true}, {"t", true, true},       {"Yes", true, true},
                       {"y", true, true},    {"on", true, true},      {"False", true, false},
                       {"F", true, false},   {"no", true, false},     {"n", true, false},
                       {"OFF", true, false}, {"0", true, false},      {"0x1", true, false},
                       {"1", true, true},    {"7x", true, true},      {"x", false, false},
                       {"", false, false},   {nullptr, false, false}, {" on", false, false},
                       {"-1", false, false}, {"truer", false, false}};
    for (auto const &c : cases) {
        bool value = true;
        EXPECT_EQ(kqbTextToBool(c.text, &value), c.known) << c.text;
        EXPECT_EQ(value, c.value) << c.text;
    }
}

}  // namespace
