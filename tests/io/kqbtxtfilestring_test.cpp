#include "io/kqbtxtfilestring_internal.h"

#include <gtest/gtest.h>

#include "support/pool_faults.h"
#include "support/text_io_test.h"

namespace {

using Lines = std::vector<std::string>;
using StreamOwner = std::unique_ptr<KqbIORaw, void (*)(KqbIORaw *)>;

StreamOwner streamOver(KqbString *target) {
    return {kqbStringStreamCreate(target), [](KqbIORaw *stream) { stream->release(); }};
}

class TxtFileString : public TextIoTest {};

TEST_F(TxtFileString, ReadsInPlace) {
    KqbString target("0123456789");
    StreamOwner const stream = streamOver(&target);
    struct {
        int max;
        std::string_view expected;
    } const cases[] = {{3, "012"}, {1, "3"}, {6, "456789"}, {5, ""}};
    char const *data = nullptr;
    for (auto const &c : cases) {
        int const count = stream->read(&data, c.max);
        EXPECT_EQ(std::string_view(data, static_cast<std::size_t>(count)), c.expected);
    }
    for (int const max : {0, -1, 10, 11}) {
        EXPECT_EQ(stream->skip(-10), 0);
        EXPECT_EQ(stream->read(&data, max), 10) << max;
        EXPECT_EQ(data, target.asCstr()) << "not a copy";
    }
    EXPECT_TRUE(stream->isReady());
    EXPECT_EQ(stream->size(), 10);
    EXPECT_STREQ(stream->getName().asCstr(), "");
    EXPECT_TRUE(stream->getErrorMessage().isNull());
}

TEST_F(TxtFileString, SkipStaysInside) {
    KqbString target("0123");
    StreamOwner const stream = streamOver(&target);
    EXPECT_EQ(stream->skip(3), 3);
    EXPECT_EQ(stream->skip(-2), 1);
    EXPECT_EQ(stream->skip(3), 4);
    constexpr long long kLargest = 0x7FFFFFFFFFFFFFFF;
    for (long long const count : {1LL, kLargest, -5LL, -kLargest - 1}) {
        EXPECT_EQ(stream->skip(count), -1) << count;
        EXPECT_NE(std::string(stream->getErrorMessage().asCstr()).find("-1"), std::string::npos);
    }
    EXPECT_EQ(stream->skip(0), 4) << "a refused skip does not move";
}

TEST_F(TxtFileString, OpenAndWrite) {
    struct {
        int mode;
        char const *expected;
    } const cases[] = {{0, "oldnew"}, {1, "oldnew"}, {2, "new"}, {7, "oldnew"}};
    for (auto const &c : cases) {
        KqbString target("old");
        KqbString const copy(target);
        StreamOwner const stream = streamOver(&target);
        EXPECT_TRUE(stream->open(c.mode));
        EXPECT_EQ(stream->write("newest", 3), 3);
        EXPECT_STREQ(target.asCstr(), c.expected);
        EXPECT_EQ(stream->size(), target.cStrSize() - 1LL);
        char const *data = nullptr;
        EXPECT_EQ(stream->read(&data, 0), 0) << "the position is behind what was written";
        EXPECT_STREQ(copy.asCstr(), "old");
    }
}

TEST_F(TxtFileString, WritingWithoutMemory) {
    refusesRequests_ = true;
    KqbString target("old");
    StreamOwner const stream = streamOver(&target);
    {
        std::string const big(5'000, 'x');
        PoolFaults const faults(0);
        EXPECT_EQ(stream->write(big.data(), 5'000), -1);
    }
    EXPECT_STREQ(target.asCstr(), "old");
    EXPECT_EQ(stream->write("!", 1), 1);
    EXPECT_STREQ(target.asCstr(), "old!");
}

TEST_F(TxtFileString, FilesOnStrings) {
    KqbString target;
    KqbString error("old");
    auto const open = [&](KqbTxtFileOpenMode mode) {
        TxtFileOwner file(kqbTxtFileOpenString(&target, mode, &error));
        EXPECT_TRUE(error.isNull());
        return file;
    };
    EXPECT_EQ(linesOf(*open(KqbTxtFileRead)), Lines());
    {
        TxtFileOwner const file = open(KqbTxtFileWrite);
        EXPECT_TRUE(file->writeln("one") && file->writeln("ä", 2, 1) && file->close());
    }
    EXPECT_TRUE(open(KqbTxtFileAppend)->write("two"));
    EXPECT_STREQ(target.asCstr(), "one\nä\ntwo");
    TxtFileOwner const file = open(KqbTxtFileRead);
    EXPECT_EQ(linesOf(*file), (Lines{"one", "ä", "two"}));
    EXPECT_TRUE(file->rewind());
    EXPECT_EQ(linesOf(*file).size(), 3U);
    EXPECT_EQ(file->size(), 10);

    TxtFileOwner const emptied = open(KqbTxtFileWrite);
    EXPECT_FALSE(target.isNull());
    EXPECT_EQ(target.length(), 0U) << "at once";
}

TEST_F(TxtFileString, NoStream) {
    KqbString error;
    EXPECT_EQ(kqbTxtFileOpenString(nullptr, KqbTxtFileRead, &error), nullptr);
    EXPECT_NE(std::string(error.asCstr()).find("String as file"), std::string::npos);
    EXPECT_EQ(kqbTxtFileOpenString(nullptr, KqbTxtFileRead, nullptr), nullptr);
}

}  // namespace
