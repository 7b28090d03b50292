// Random lives of blobs against a byte vector each, and their pages against a plain model.
#include <memory>
#include <random>

#include "data/blob_fixture.h"
#include "data/page_model.h"

namespace {

// A blob beside what it should hold and where.
struct Pair {
    KqbBlob blob;
    std::string bytes;
    std::size_t position = 0;
    std::vector<long long> pages;
    unsigned offset = 0;  // bytes in use of the last page

    void append(PageModel &model, unsigned pageSize, std::string const &more) {
        for (std::size_t done = 0; done < more.size();) {
            if (pages.empty() || offset == pageSize) {
                pages.push_back(model.acquire(pages.empty(), pages.empty() ? 0 : pages.back()));
                offset = 0;
            }
            std::string const chunk = more.substr(done, pageSize - offset);
            model.write(pages.back(), offset, chunk);
            offset += static_cast<unsigned>(chunk.size());
            done += chunk.size();
        }
        bytes += more;
    }
};

struct Sizes {
    char const *pageSize, *memPages;
    unsigned effectivePageSize;
    int effectiveMemPages;
    int logLevel;
};

class BlobModelTest : public BlobFixture, public testing::WithParamInterface<Sizes> {
protected:
    void SetUp() override {
        BlobFixture::SetUp();
        setSizes(GetParam().pageSize, GetParam().memPages);
        logFrom(GetParam().logLevel);
    }

    std::size_t random(std::size_t below) { return random_() % below; }

    // Biased to the edges of pages.
    std::size_t randomSize(unsigned pageSize) {
        std::size_t const pages = random(random(4) != 0 ? 4 : pageSize > 1000 ? 20 : 300);
        std::size_t const size = pages * pageSize + random(3);
        return random(2) == 0 ? random(2 * pageSize) : size - (size > 0 ? random(2) : 0);
    }

    void appendSome(Pair &pair, PageModel &model, unsigned pageSize) {
        std::string const more = pattern(randomSize(pageSize), static_cast<unsigned>(random_()));
        ASSERT_TRUE(append(pair.blob, more));
        pair.append(model, pageSize, more);
    }

    void readSome(Pair &pair, unsigned pageSize) {
        std::size_t const size = std::min(randomSize(pageSize), pair.bytes.size() - pair.position);
        auto const buffer = std::make_unique<char[]>(size);  // to the byte, for the sanitizer
        ASSERT_EQ(pair.blob.read(buffer.get(), static_cast<long long>(size)),
                  pair.blob.isNull() ? -1 : static_cast<long long>(size));
        ASSERT_EQ(std::string(buffer.get(), size), pair.bytes.substr(pair.position, size));
        pair.position += size;
    }

    void step(Pair &pair, PageModel &model, unsigned pageSize) {
        switch (random(10)) {
            case 0:
                model.free(pair.pages);
                pair = Pair();
                break;
            case 1:
                ASSERT_EQ(pair.blob.rewind(), !pair.blob.isNull());
                pair.position = 0;
                break;
            case 2:
            case 3:
            case 4:
                readSome(pair, pageSize);
                break;
            default:
                appendSome(pair, model, pageSize);
        }
        ASSERT_EQ(pair.blob.size(), static_cast<long long>(pair.bytes.size()));
    }

    void expectFreeLists(KqbBlobPageServer &server, PageModel const &model) {
        for (auto const &[inMemory, expected] :
             {std::pair{true, model.freeMemory}, std::pair{false, model.freeFile}}) {
            for (long long const id : expected) {
                long long page = 0;
                ASSERT_TRUE(server.locked(&KqbBlobPages::acquirePage, inMemory, 0, &page));
                ASSERT_EQ(page, id);
            }
        }
    }

    std::mt19937 random_{20240229};
};

TEST_P(BlobModelTest, bytesPagesAndFile) {
    auto const &sizes = GetParam();
    HeldPages held;
    ASSERT_EQ(held.server.pageSize(), sizes.effectivePageSize);
    PageModel model(sizes.effectivePageSize, sizes.effectiveMemPages);
    Pair pairs[12];
    int const steps = sizes.effectivePageSize > 1000 ? 150 : 300;
    for (int i = 0; i < steps; ++i) {
        step(pairs[random(std::size(pairs))], model, sizes.effectivePageSize);
        if (HasFatalFailure()) return;
        ASSERT_TRUE(pageFileBytes() == model.file) << "after step " << i;
        ASSERT_EQ(broken().size(), model.brokenRules) << "after step " << i;
    }
    expectFreeLists(held.server, model);
}

INSTANTIATE_TEST_SUITE_P(Sizes, BlobModelTest,
                         testing::Values(Sizes{"8", "1", 8, 1, 5}, Sizes{"8", "10", 8, 10, 1},
                                         Sizes{"16", "10", 16, 10, 5},
                                         Sizes{"100", "10", 104, 10, 1},
                                         Sizes{"104", "0", 4096, 0, 5},
                                         Sizes{"4096", "10", 4096, 10, 1}));

}  // namespace
