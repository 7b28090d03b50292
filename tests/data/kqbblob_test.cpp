#include "kqb/kqbblob.h"

#include <regex>
#include <thread>
#include <utility>

#include "data/blob_fixture.h"

namespace {

class BlobTest : public BlobFixture {
protected:
    void SetUp() override {
        BlobFixture::SetUp();
        setSizes("8", "1");
    }
    // One further read of some bytes; its result and the bytes.
    static std::string readOn(KqbBlob &blob, long long size) {
        char bytes[64] = "";
        long long const result = blob.read(bytes, size);
        return std::to_string(result) + ":" + bytes;
    }
};

TEST_F(BlobTest, nullEmptyAndBadInput) {
    KqbBlob blob;
    char byte = 'x';
    EXPECT_TRUE(blob.isNull() && blob.size() == 0 && !blob.rewind());
    EXPECT_EQ(blob.read(&byte, 1), -1);
    EXPECT_EQ(blob.read(nullptr, 0), -1);
    EXPECT_FALSE(blob.append(&byte, -1) || blob.append(nullptr, 1));
    EXPECT_TRUE(blob.isNull());
    EXPECT_TRUE(blob.append(nullptr, 0));
    EXPECT_TRUE(!blob.isNull() && blob.size() == 0 && blob.rewind());
    EXPECT_EQ(blob.read(&byte, 1), 0);
    ASSERT_TRUE(append(blob, "abc"));
    EXPECT_FALSE(blob.append(&byte, -1) || blob.append(nullptr, 1));
    EXPECT_EQ(blob.read(&byte, -1), -1);
    EXPECT_EQ(blob.read(nullptr, 1), -1);
    EXPECT_EQ(blob.read(&byte, 0), 0);
    EXPECT_EQ(readAll(blob), "abc");
    EXPECT_EQ(pageFileBytes(), "") << "a page of it is in memory";
}

TEST_F(BlobTest, handlesShareOneBody) {
    KqbBlob first;
    ASSERT_TRUE(append(first, "0123456789"));
    KqbBlob second = first, third;
    third = second = *&second;
    ASSERT_TRUE(append(second, "abcdefghij"));
    EXPECT_EQ(first.size(), 20);
    EXPECT_EQ(readOn(third, 4), "4:0123");
    EXPECT_EQ(readOn(first, 16), "16:456789abcdefghij");
    KqbBlob moved = std::move(first);
    second = std::move(moved);
    EXPECT_TRUE(first.isNull() && moved.isNull() && second.size() == 20);
    third = KqbBlob();
    EXPECT_EQ(readAll(second), "0123456789abcdefghij");
    second = first;
    EXPECT_TRUE(second.isNull());
}

TEST_F(BlobTest, readingGoesOnAlongTheLastPagesLink) {
    HeldPages const held;
    KqbBlob kept, blob;
    ASSERT_TRUE(append(kept, "m"));  // has the memory page
    {
        KqbBlob gone;
        ASSERT_TRUE(append(gone, "aaaaaaaabbbbbbbbcccccccc"));
    }
    ASSERT_TRUE(append(blob, "xyz"));  // in the first of the pages that gone had
    EXPECT_EQ(readOn(blob, 9), "3:xyz") << "a transfer from the last page is the final one";
    EXPECT_EQ(readOn(blob, 9), "9:bbbbbbbbc") << "the link of the page's former life";
    ASSERT_TRUE(blob.rewind());
    EXPECT_EQ(readOn(blob, 2), "2:xy");

    ASSERT_TRUE(append(kept, "n"));
    EXPECT_EQ(readOn(kept, 2), "2:mn");
    EXPECT_EQ(readOn(kept, 1), "-1:") << "the link of a page without a next one";
    EXPECT_EQ(broken(), std::vector<std::string>{"page id"});
    EXPECT_EQ(readAll(kept), "mn");
}

TEST_F(BlobTest, twoPagesOfWhichTheFirstIsInMemoryStayTogether) {
    setSizes("8", "2");
    HeldPages const held;
    {
        KqbBlob two;
        ASSERT_TRUE(append(two, "0123456789"));
    }
    {
        KqbBlob one;
        ASSERT_TRUE(append(one, "m"));
        EXPECT_TRUE(broken().empty());
    }
    EXPECT_EQ(broken(), std::vector<std::string>{"page kind"}) << "behind a file page";
    KqbBlob blobs[3];
    for (auto &blob : blobs) ASSERT_TRUE(append(blob, "12345678"));
    EXPECT_EQ(pageFileBytes().size(), 16U) << "all three were free for a first page";
    for (auto &blob : blobs) EXPECT_EQ(readAll(blob), "12345678");
}

// Links beyond those that are kept in memory are read from the file.
TEST_F(BlobTest, chainsOfMoreThanAMillionPages) {
    HeldPages const held;
    std::string const bytes = pattern(8 * (KqbBlobPageFile::kMaxKnownLinks + 300));
    KqbBlob blob;
    ASSERT_TRUE(append(blob, bytes));
    EXPECT_TRUE(readAll(blob) == bytes);
    EXPECT_EQ(logOf([&] { blob = KqbBlob(); }), "W Suspiciously long page list\n");
    std::size_t const size = pageFileBytes().size();
    ASSERT_TRUE(append(blob, bytes));
    EXPECT_EQ(pageFileBytes().size(), size);
    EXPECT_TRUE(readAll(blob) == bytes);
    logOf([&] { blob = KqbBlob(); });
}

// The options are read when the first blob comes to life.
TEST_F(BlobTest, startUp) {
    std::string const defaultSize = "I Default page size of 4096 bytes will be used\n";
    std::string const badSize = "E Invalid blob page size in config\n" + defaultSize;
    std::string const defaultPages = "I Default mem page count of 10 will be used\n";
    std::string const badPages = "E Invalid mem page count in config\n" + defaultPages;
    struct {
        char const *pageSize, *memPages;
        unsigned effective;
        int pagesInMemory;
        std::string log;
    } const cases[] = {{"100", "2", 104, 2, ""},
                       {"1", "3", 8, 3, ""},
                       {" %%SIZE%% ", "1", 24, 1, ""},
                       {"0", "1", 4096, 1, defaultSize},
                       {"24", "0", 4096, 0, defaultPages},
                       {"8k", "1", 4096, 1, badSize},
                       {"4294967304", "1", 4096, 1, badSize},
                       {"-8", "-1", 4096, 0, badSize + badPages}};
    set("SIZE", "20");
    logFrom(2);
    for (auto const &c : cases) {
        setSizes(c.pageSize, c.memPages);
        KqbBlob blobs[4];
        EXPECT_EQ(logOf([&] {
                      for (auto &blob : blobs) append(blob, "x");
                  }),
                  "I Startup\n" + c.log + "I Startup succeeded\n");
        EXPECT_EQ(pageFileBytes().size(),
                  static_cast<std::size_t>(4 - c.pagesInMemory) * (c.effective + 8))
            << c.pageSize << " and " << c.memPages;
    }
}

TEST_F(BlobTest, temporaryDirectories) {
    std::string const none = folder_.path("none");
    for (std::string const &bad : {none, folder_.write("file", "x"), std::string(5000, 'd')}) {
        set("BASE/TEMP", bad.c_str());
        KqbBlob blob;
        bool succeeded = true;
        std::string const log = logOf([&] { succeeded = append(blob, "x"); });
        EXPECT_TRUE(!succeeded && blob.isNull());
        EXPECT_TRUE(std::regex_match(log, std::regex("E Failed to create temp file: \\d+ .+\n")))
            << log;
    }
    std::filesystem::create_directory(none);
    set("BASE/TEMP", none.c_str());
    KqbBlob blob;
    EXPECT_TRUE(append(blob, "x"));
    blob = KqbBlob();
    EXPECT_TRUE(std::filesystem::is_empty(none));
    set("BASE/TEMP", "");
    EXPECT_EQ(logOf([&] { EXPECT_TRUE(append(blob, "x")); }), "E No temp path configured\n");
}

TEST_F(BlobTest, pageOperationsAreTimedWhenAskedFor) {
    logFrom(1);
    kqlogGetLogger("KQ.RTProfiler")->setLevel(1);
    std::string const log = logOf([] {
        KqbBlob blob;
        append(blob, "mmmmmmmmffffffffgggg");
        readAll(blob);
    });
    EXPECT_TRUE(std::regex_search(
        log, std::regex("T Profiler dump BLOBPAGESERVER\nT ACQUIRE_PAGE,\\d+,3\n"
                        "T ADD_FILE_PAGE,\\d+,2\nT FREE_FILE_PAGES,\\d+,1\n"
                        "T FREE_MEM_PAGES,\\d+,2\nT NEXT_PAGE,\\d+,2\nT READ,\\d+,3\n"
                        "T WRITE,\\d+,3\n$")))
        << log;
}

// --- Threads ------------------------------------------------------------------------------------

using BlobThreads = BlobTest;

// Without a hold the server comes and goes all the time, and nobody meets it half made.
TEST_F(BlobThreads, blobsOfTheirOwnAndCopies) {
    for (bool const isHeld : {false, true}) {
        KqbBlob shared;
        ASSERT_TRUE(!isHeld || append(shared, "shared"));
        std::vector<std::jthread> threads;
        for (unsigned t = 0; t < 4; ++t) {
            threads.emplace_back([&shared, isHeld, t] {
                for (unsigned i = 0; i < 200; ++i) {
                    KqbBlob blob, other = isHeld ? shared : KqbBlob();
                    std::string bytes;
                    for (unsigned k = 0; k <= i % 3; ++k) {
                        bytes += pattern(i * 7 % 100, t + i);
                        EXPECT_TRUE(append(blob, pattern(i * 7 % 100, t + i)));
                        EXPECT_EQ(readAll(blob), bytes);
                    }
                    EXPECT_EQ(other.size(), isHeld ? 6 : 0);
                }
            });
        }
    }
}

}  // namespace
