#include "kqb/rtprofiler.h"

#include <chrono>
#include <regex>
#include <string>
#include <thread>

#include "data/blob_fixture.h"
#include "support/alloc_faults.h"

namespace {

class ProfilerTest : public BlobFixture {
protected:
    void SetUp() override {
        BlobFixture::SetUp();
        kqlogGetLogger("KQ.RTProfiler")->setLevel(1);
    }

    static void spend(int microseconds) {
        auto const end = std::chrono::steady_clock::now() + std::chrono::microseconds(microseconds);
        while (std::chrono::steady_clock::now() < end) {
        }
    }
    // The count under a tag; -1 when it is unknown.
    static int countOf(RTProfiler &profiler, std::string const &tag) {
        int milliseconds = 7, count = 7;
        bool const isKnown = profiler.getData(tag.c_str(), &milliseconds, &count);
        EXPECT_TRUE(isKnown || (milliseconds == 0 && count == 0));
        return isKnown ? count : -1;
    }
    static int timeOf(RTProfiler &profiler, char const *tag) {
        int milliseconds = 0, count = 0;
        profiler.getData(tag, &milliseconds, &count);
        return milliseconds;
    }
};

TEST_F(ProfilerTest, innerTimeIsNotCountedAgain) {
    RTProfiler profiler;
    auto const begin = std::chrono::steady_clock::now();
    profiler.enter();
    for (int i = 0; i < 3; ++i) {
        profiler.enter();
        spend(9'600);
        profiler.exit("inner");
    }
    spend(1'200);
    profiler.exit("outer");
    std::chrono::duration<double, std::milli> const all = std::chrono::steady_clock::now() - begin;
    EXPECT_EQ(countOf(profiler, "inner"), 3);
    EXPECT_EQ(countOf(profiler, "outer"), 1);
    EXPECT_GE(timeOf(profiler, "inner"), 28);
    EXPECT_GE(timeOf(profiler, "outer"), 1);
    EXPECT_LE(timeOf(profiler, "inner") + timeOf(profiler, "outer"), all.count() + 1);
}

TEST_F(ProfilerTest, tagsAreTexts) {
    RTProfiler profiler;
    auto const book = [&](char const *tag) {
        profiler.enter();
        profiler.exit(tag);
    };
    std::string changing = "one";  // the same place with another text
    book(changing.c_str());
    changing = "two";
    book(changing.c_str());
    book("one");
    book(nullptr);
    book("");
    std::string const longest(255, 't');
    book((longest + "1").c_str());
    book((longest + "2").c_str());
    std::string walk;
    EXPECT_EQ(profiler.getId(false), nullptr);
    for (char const *id = profiler.getId(true); id != nullptr; id = profiler.getId(false)) {
        walk += id + std::to_string(countOf(profiler, id)) + ",";
    }
    EXPECT_EQ(walk, "2,one2," + longest + "2,two1,");
    EXPECT_EQ(profiler.getId(false), nullptr);
}

TEST_F(ProfilerTest, records) {
    RTProfiler profiler;
    EXPECT_EQ(logOf([&] { profiler.exit("X"); }),
              "E Inconsistent profile entry/exit count for X.\n");
    EXPECT_EQ(countOf(profiler, "X"), -1);
    for (char const *tag : {"b", "a", "b"}) {
        profiler.enter();
        if (*tag == 'a') spend(1'500);
        profiler.exit(tag);
    }
    EXPECT_TRUE(std::regex_match(logOf([&] { profiler.dump("now"); }),
                                 std::regex("T Profiler dump now\nT a,[1-9]\\d*,1\nT b,\\d+,2\n")));
    profiler.enter();
    EXPECT_EQ(logOf([&] { profiler.reset("it"); }), "T Profiler reset it\n");
    EXPECT_EQ(countOf(profiler, "a"), -1);
    EXPECT_EQ(profiler.getId(true), nullptr);
    EXPECT_NE(logOf([&] { profiler.exit("a"); }), "") << "the open stretch was forgotten";
    kqlogGetLogger("KQ.RTProfiler")->setLevel(2);
    EXPECT_EQ(logOf([&] { profiler.dump("now"), profiler.reset("it"); }), "");
}

TEST_F(ProfilerTest, assignedProfilersShareTheirFigures) {
    RTProfiler first;
    {
        RTProfiler second;
        second.enter();
        second.exit("gone");
        second = first;
        second = *&second;
        second.enter();
    }
    first.exit("shared");
    RTProfiler const copy = first;
    EXPECT_EQ(countOf(first, "shared"), 1);
    EXPECT_EQ(countOf(first, "gone"), -1);
}

TEST_F(ProfilerTest, withoutMemoryTheNestingStaysRight) {
    for (int n = 1;; ++n) {
        AllocFaults::failAt(n);
        RTProfiler profiler;
        profiler.enter();
        profiler.enter();
        profiler.exit("inner");
        profiler.exit("outer");
        AllocFaults::off();
        bool const failed = AllocFaults::hit();
        profiler.exit("none");
        ASSERT_EQ(countOf(profiler, "none"), -1) << n;
        ASSERT_NE(countOf(profiler, "inner"), 0) << n;
        if (!failed) break;
        ASSERT_LT(n, 50);
    }
}

}  // namespace
