// Random lives of blobs against a text each.
#include <memory>
#include <random>
#include <tuple>

#include "data/blob_fixture.h"

namespace {

struct Pair {
    KqbBlob blob;
    std::string bytes;
    std::size_t position = 0;
};

// Page size, pages in memory, the page size in force, log level.
using Sizes = std::tuple<char const *, char const *, std::size_t, int>;

class BlobModelTest : public BlobFixture, public testing::WithParamInterface<Sizes> {
protected:
    void SetUp() override {
        BlobFixture::SetUp();
        setSizes(std::get<0>(GetParam()), std::get<1>(GetParam()));
        logFrom(std::get<3>(GetParam()));
    }

    std::size_t random(std::size_t below) { return random_() % below; }

    // Biased to the edges of pages.
    std::size_t randomSize() {
        std::size_t const pages = random(random(4) != 0 ? 4 : pageSize_ > 1000 ? 20 : 300);
        std::size_t const size = pages * pageSize_ + random(3);
        return random(2) == 0 ? random(2 * pageSize_) : size - (size > 0 ? random(2) : 0);
    }

    void readSome(Pair &pair) {
        std::size_t const size = std::min(randomSize(), pair.bytes.size() - pair.position);
        auto const buffer = std::make_unique<char[]>(size);  // to the byte, for the sanitizer
        ASSERT_EQ(pair.blob.read(buffer.get(), static_cast<long long>(size)),
                  pair.blob.isNull() ? -1 : static_cast<long long>(size));
        ASSERT_EQ(std::string(buffer.get(), size), pair.bytes.substr(pair.position, size));
        pair.position += size;
    }

    void step(Pair &pair) {
        std::size_t const kind = random(10);
        if (kind < 2) pair = Pair();
        if (kind == 2) {
            ASSERT_EQ(pair.blob.rewind(), !pair.blob.isNull());
            pair.position = 0;
        } else if (kind < 6) {
            readSome(pair);
        } else {
            std::string const more = pattern(randomSize(), static_cast<unsigned>(random_()));
            ASSERT_TRUE(append(pair.blob, more));
            pair.bytes += more;
        }
        ASSERT_EQ(pair.blob.size(), static_cast<long long>(pair.bytes.size()));
    }

    std::size_t const pageSize_ = std::get<2>(GetParam());
    std::mt19937 random_{20240229};
};

TEST_P(BlobModelTest, bytesSurviveAndPagesAreUsedAgain) {
    HeldPages const held;
    ASSERT_EQ(held.server.pageSize(), pageSize_);
    Pair pairs[12];
    std::size_t most = 0;
    for (int i = 0; i < 1500; ++i) {
        step(pairs[random(std::size(pairs))]);
        if (HasFatalFailure()) return;
        std::size_t pages = 0;
        for (Pair const &pair : pairs) pages += (pair.bytes.size() + pageSize_ - 1) / pageSize_;
        most = std::max(most, pages);
    }
    EXPECT_LE(pageFileBytes().size(), (most + std::size(pairs)) * (pageSize_ + 8));
    for (Pair &pair : pairs) EXPECT_TRUE(pair.blob.isNull() || readAll(pair.blob) == pair.bytes);
}

INSTANTIATE_TEST_SUITE_P(Sizes, BlobModelTest,
                         testing::Values(Sizes{"8", "1", 8, 5}, Sizes{"8", "10", 8, 1},
                                         Sizes{"100", "10", 104, 5}, Sizes{"104", "0", 4096, 1}));

}  // namespace
