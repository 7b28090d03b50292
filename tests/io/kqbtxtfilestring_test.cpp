#include "io/kqbtxtfilestring_internal.h"

#include <gtest/gtest.h>

#include "support/pool_faults.h"
#include "support/text_io_test.h"

namespace {

using StreamOwner = std::unique_ptr<KqbIORaw, void (*)(KqbIORaw *)>;

StreamOwner streamOver(KqbString *target) {
    return {kqbStringStreamCreate(target), [](KqbIORaw *stream) { stream->release(); }};
}

class TxtFileString : public TextIoTest {};

TEST_F(TxtFileString, ReadsInPlace) {
    KqbString target("0123456789");
    StreamOwner const stream = streamOver(&target);
    std::pair<int, std::string_view> const cases[] = {{3, "012"}, {1, "3"}, {6, "456789"}, {5, ""}};
    char const *data = nullptr;
    for (auto const &[max, expected] : cases) {
        int const count = stream->read(&data, max);
        EXPECT_EQ(std::string_view(data, static_cast<std::size_t>(count)), expected);
    }
    constexpr long long kLargest = 0x7FFFFFFFFFFFFFFF;
    for (long long const count : {1LL, kLargest, -11LL, -kLargest - 1}) {
        EXPECT_EQ(stream->skip(count), -1) << count;
    }
    EXPECT_EQ(stream->skip(-10), 0) << "a refused skip does not move";
    EXPECT_EQ(stream->read(&data, 0), 10);
    EXPECT_EQ(data, target.asCstr()) << "not a copy";
}

TEST_F(TxtFileString, OpenAndWrite) {
    std::pair<int, char const *> const cases[] = {{0, "oldnew"}, {1, "oldnew"}, {2, "new"}};
    for (auto const &[mode, expected] : cases) {
        KqbString target("old");
        KqbString const copy(target);
        StreamOwner const stream = streamOver(&target);
        EXPECT_TRUE(stream->open(mode));
        EXPECT_EQ(stream->write("newest", 3), 3);
        EXPECT_STREQ(target.asCstr(), expected);
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
    EXPECT_EQ(stream->write("!", 1), 1);
    EXPECT_STREQ(target.asCstr(), "old!");
}

TEST_F(TxtFileString, FilesOnStrings) {
    KqbString target;
    auto const open = [&](KqbTxtFileOpenMode mode) {
        return TxtFileOwner(kqbTxtFileOpenString(&target, mode, nullptr));
    };
    TxtFileOwner const file = open(KqbTxtFileWrite);
    EXPECT_TRUE(file->writeln("one\nä") && file->close());
    EXPECT_TRUE(open(KqbTxtFileAppend)->write("two"));
    EXPECT_EQ(linesOf(*open(KqbTxtFileRead)), (std::vector<std::string>{"one", "ä", "two"}));
    EXPECT_EQ(open(KqbTxtFileWrite)->size(), 0) << "emptied at once";
}

}  // namespace
