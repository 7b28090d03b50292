#include "kqb/kqbunicodeconv.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>

#include "support/pool_faults.h"
#include "support/pool_test.h"

namespace {

using KqbUnicodeConvTest = PoolTest;

char kMixed[] = "a\xC3\xA4\xF0\x9F\x98\x80";
unsigned short kMixedUnits[] = {'a', 0xE4, 0xD83D, 0xDE00, 0};

TEST_F(KqbUnicodeConvTest, holdsUtf16) {
    struct {
        char const *text;
        int length;
    } const cases[] = {{"ab", 3}, {"", 1}, {kMixed, 5}, {nullptr, 0}, {"\xFF", 0}, {"x\xC3", 0}};
    KqUtf8ToUC converter;
    for (auto const &c : cases) {
        EXPECT_TRUE(converter.set(c.text));
        EXPECT_EQ(converter.bufLength(), c.length);
        EXPECT_EQ(converter.bufLengthBytes(), 2 * c.length);
        EXPECT_EQ(converter.ucString() == nullptr, c.length == 0);
    }
    EXPECT_TRUE(converter.set(kMixed));
    EXPECT_EQ(std::memcmp(converter.ucString(), kMixedUnits, sizeof kMixedUnits), 0);
}

TEST_F(KqbUnicodeConvTest, offersUnitsAndMakesTextOnce) {
    KqUCToUtf8 converter;
    EXPECT_EQ(converter.utf8String(), nullptr);
    ASSERT_TRUE(converter.set(8));
    EXPECT_EQ(converter.bufLengthBytes(), 16);
    EXPECT_EQ(converter.getUCBuffer()[8], 0);
    std::memcpy(converter.getUCBuffer(), kMixedUnits, sizeof kMixedUnits);
    char *const text = converter.utf8String();
    EXPECT_STREQ(text, kMixed);
    converter.getUCBuffer()[0] = 'z';
    EXPECT_EQ(converter.utf8String(), text);
    EXPECT_STREQ(text, kMixed);
    ASSERT_TRUE(converter.set(2));
    std::memcpy(converter.getUCBuffer(), kMixedUnits, 4);
    EXPECT_EQ(std::string(converter.utf8String(), 3), std::string(kMixed, 3));
    ASSERT_TRUE(converter.set(1));
    converter.getUCBuffer()[0] = 0xD83D;
    EXPECT_EQ(converter.utf8String(), nullptr);
    for (int length : {0, -1}) {
        EXPECT_TRUE(converter.set(length));
        EXPECT_EQ(converter.getUCBuffer(), nullptr);
    }
    EXPECT_FALSE(converter.set(INT_MAX));
}

TEST_F(KqbUnicodeConvTest, missingMemoryIsTold) {
    refusesRequests_ = true;
    KqUtf8ToUC toUnits;
    KqUCToUtf8 toText, filled;
    ASSERT_TRUE(filled.set(4));
    std::memset(filled.getUCBuffer(), 0, 8);
    {
        PoolFaults const faults(0);
        EXPECT_FALSE(toUnits.set("a text"));
        EXPECT_FALSE(toText.set(4));
        EXPECT_EQ(filled.utf8String(), nullptr);
    }
    EXPECT_EQ(toUnits.ucString(), nullptr);
    EXPECT_EQ(toText.getUCBuffer(), nullptr);
    EXPECT_STREQ(filled.utf8String(), "");
}

// Calling a member on a null object is what this operation is made to stand.
__attribute__((no_sanitize("null", "undefined"))) void releaseNull() {
    KqUtf8ToUC *volatile noUnits = nullptr;
    KqUCToUtf8 *volatile noText = nullptr;
    noUnits->release();
    noText->release();
}

TEST_F(KqbUnicodeConvTest, releaseEndsObjectsAndIgnoresNull) {
    (new KqUtf8ToUC)->release();
    (new KqUCToUtf8)->release();
    releaseNull();
}

TEST_F(KqbUnicodeConvTest, convertsInBuffersOfTheCaller) {
    char text[8] = "???????";
    convertUCToUtf8(kMixedUnits, text, sizeof text);  // needs exactly this size
    EXPECT_STREQ(text, kMixed);
    text[5] = '!';
    convertUCToUtf8(kMixedUnits, text, 5);
    convertUCToUtf8(kMixedUnits, text, 0);
    EXPECT_EQ(text[5], '!');
    unsigned short units[6] = {9, 9, 9, 9, 9, 9};
    convertUtf8ToUC(kMixed, units, 5);
    EXPECT_EQ(std::memcmp(units, kMixedUnits, sizeof kMixedUnits), 0);
    EXPECT_EQ(units[5], 9);
    convertUtf8ToUC(kMixed, units, 0);
    EXPECT_EQ(units[0], 'a');
}

}  // namespace
