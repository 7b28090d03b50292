#include "kqb/kqbdate.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <string>
#include <vector>

#include "core/kqbdate_internal.h"
#include "support/pool_test.h"

namespace {

using KqbDateTest = PoolTest;

TEST_F(KqbDateTest, takesPartsOrIsNull) {
    for (int const second : {59, 60}) {
        KqbDate const date(9999, 12, 31, 23, 59, second);
        EXPECT_EQ(date.isNull(), second == 60);
        int p[7];
        date.getElements(&p[0], &p[1], &p[2], &p[3], &p[4], &p[5], &p[6]);
        EXPECT_EQ(std::vector(p, p + 7),
                  second == 59 ? (std::vector{9999, 12, 31, 23, 59, 59, 0}) : std::vector(7, 0));
        date.getElements(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    }
    KqbDate date;
    EXPECT_TRUE(date.isNull());
    EXPECT_FALSE(date.assign(1899, 12, 30, 12, 0, 0, 0).isNull());
    EXPECT_EQ(date.asDouble(), 0.5);
    EXPECT_TRUE(date.assign(2000, 1, 1, 0, 0, 0, 1000).isNull());
}

TEST_F(KqbDateTest, normalisesNumbersToTheMillisecond) {
    KqbDate date(42860.0 + 1e-10);
    EXPECT_EQ(date.asDouble(), 42860.0);
    EXPECT_EQ(date.compare(KqbDate(2017, 5, 5, 0, 0, 0)), 0);
    EXPECT_TRUE(date.assign(std::nan("")).isNull());
    EXPECT_EQ(date.asDouble(), 42860.0);
    EXPECT_TRUE(KqbDate(1e12).isNull());
    EXPECT_TRUE(KqbDate(-1e12).isNull());
}

TEST_F(KqbDateTest, readsWhatItWrites) {
    KqbDate date, back;
    date.assign(2017, 5, 5, 9, 3, 7, 250);
    struct {
        bool iso, milliseconds;
        char const *expected;
    } const cases[] = {{false, false, "05/05/2017 09:03:07.250"},
                       {true, true, "2017-05-05T09:03:07.250"},
                       {true, false, "2017-05-05T09:03:07"}};
    for (auto const &c : cases) {
        KqbString const text = date.asString(c.iso, c.milliseconds);
        EXPECT_STREQ(text.asCstr(), c.expected);
        EXPECT_STREQ(back.assign(text.asCstr()).asString(c.iso, c.milliseconds).asCstr(),
                     c.expected);
    }
    EXPECT_STREQ(date.asString(true).asCstr(), "2017-05-05T09:03:07.250");
    EXPECT_STREQ(KqbDate().asString(true, false).asCstr(), "1899-12-30T00:00:00");
    for (char const *text : {static_cast<char const *>(nullptr), "", "no date", "2017-02-30"}) {
        EXPECT_TRUE(KqbDate(text).isNull());
    }
}

TEST_F(KqbDateTest, writesZones) {
    KqbDate const date(2017, 5, 5, 9, 3, 7);
    struct {
        int hours;
        unsigned minutes;
        char const *expected;
    } const cases[] = {
        {0, 0, "Z"},        {-5, 0, "-05"}, {5, 30, "+05:30"},          {0, 30, ":30"},
        {-10, 5, "-10:05"}, {12, 0, "+12"}, {INT_MIN, 0, "-2147483648"}};
    for (auto const &c : cases) {
        EXPECT_EQ(date.asString(c.hours, c.minutes).asCstr(),
                  std::string("2017-05-05T09:03:07") + c.expected);
    }
    EXPECT_STREQ(KqbDate().asString(0, 0).asCstr(), "0-00-00T00:00:00Z");
    EXPECT_STREQ(KqbDate(7, 10, 11, 12, 13, 14).asString(0, 0).asCstr(), "7-10-11T12:13:14Z");
}

TEST_F(KqbDateTest, ordersNullFirst) {
    KqbDate null;
    KqbDate const early(1850, 1, 1, 18, 0, 0), late(2017, 5, 5, 0, 0, 0);
    KqbDate const *const ascending[] = {&null, &early, &late};
    for (int i = 0; i < 3; ++i) {
        for (int k = 0; k < 3; ++k) {
            EXPECT_EQ(ascending[i]->compare(*ascending[k]), (i > k) - (i < k));
            EXPECT_EQ(*ascending[i] < *ascending[k], i < k);
            EXPECT_EQ(KqbDateLess()(*ascending[i], *ascending[k]), i < k);
        }
    }
    KqbDate cleared(late);
    cleared.setNull();
    EXPECT_EQ(cleared.compare(null), 0);
    EXPECT_EQ(cleared.asDouble(), late.asDouble());
}

TEST_F(KqbDateTest, knowsTheWeekDay) {
    EXPECT_EQ(KqbDate(2017, 5, 5, 23, 59, 59).getWeekDay(), 5);
    EXPECT_EQ(KqbDate(1899, 12, 31, 0, 0, 0).getWeekDay(), 0);
    EXPECT_EQ(KqbDate(1, 1, 1, 0, 0, 0).getWeekDay(), 1);
    EXPECT_EQ(KqbDate().getWeekDay(), -1);
}

TEST_F(KqbDateTest, presentMomentFollowsTheOption) {
    setenv("TZ", "XXX-9", 1);
    tzset();
    double const hours =
        (KqbDate::currentDate(false).asDouble() - KqbDate::currentDate(true).asDouble()) * 24;
    EXPECT_NEAR(hours, 9, 0.1);
    kqbDateOptions().gmt = true;
    EXPECT_NEAR(KqbDate::currentDate(false).asDouble(), KqbDate::currentDate(true).asDouble(),
                0.01);
    kqbDateOptions().gmt = false;
    unsetenv("TZ");
    tzset();
}

}  // namespace
