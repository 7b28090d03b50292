// Blobs without disk, memory or sound page ids.
#include <algorithm>
#include <deque>
#include <set>
#include <utility>

#include "backends/kqsfio/kqsfio_calls.h"
#include "data/blob_fixture.h"
#include "support/pool_faults.h"

namespace {

using kqsfio::calls;

// What the system calls below do.
off_t gDiskSize;  // nothing is written behind it
int gCallsLeft;   // after so many writes (or reads) they fail; negative: never
bool gReadsFail;  // which of both is counted

bool failsNow(bool isRead) {
    if (isRead != gReadsFail || gCallsLeft < 0 || gCallsLeft-- > 0) return false;
    gCallsLeft = 0;
    errno = EIO;
    return true;
}

ssize_t writeToDisk(int file, void const *data, size_t size, off_t position) {
    if (failsNow(false)) return -1;
    auto const room = static_cast<size_t>(std::max<off_t>(gDiskSize - position, 0));
    if (size > 0 && room == 0) {
        errno = ENOSPC;
        return -1;
    }
    return ::pwrite(file, data, std::min(size, room), position);
}

ssize_t writePiecesToDisk(int file, iovec const *pieces, int count, off_t position) {
    ssize_t written = 0;
    for (iovec const *piece = pieces; piece != pieces + count; ++piece) {
        ssize_t const step = writeToDisk(file, piece->iov_base, piece->iov_len, position + written);
        if (step < 0 && written == 0) return -1;
        written += std::max<ssize_t>(step, 0);
        if (step < static_cast<ssize_t>(piece->iov_len)) break;
    }
    return written;
}

class BlobFaultsTest : public BlobFixture {
protected:
    void SetUp() override {
        BlobFixture::SetUp();
        setSizes("16", "1");
        gDiskSize = 1 << 30;
        gCallsLeft = -1;
        gReadsFail = false;
        calls.pwrite = writeToDisk;
        calls.pwritev = writePiecesToDisk;
        calls.pread = [](int file, void *data, size_t size, off_t position) {
            return failsNow(true) ? -1 : ::pread(file, data, size, position);
        };
        calls.preadv = [](int file, iovec const *pieces, int count, off_t position) {
            return failsNow(true) ? -1 : ::preadv(file, pieces, count, position);
        };
    }
    void TearDown() override {
        calls = real_;
        BlobFixture::TearDown();
    }

    kqsfio::Calls const real_ = calls;
};

TEST_F(BlobFaultsTest, fullDisk) {
    HeldPages const held;
    std::string const bytes = pattern(3000);
    std::deque<KqbBlob> blobs;  // keep their pages
    for (off_t room : {0, 23, 25, 2400}) {
        for (int level : {1, 5}) {
            logFrom(level);
            gDiskSize = static_cast<off_t>(pageFileBytes().size()) + room;
            KqbBlob &filler = blobs.emplace_back();
            std::string const log = logOf([&] { ASSERT_FALSE(append(filler, bytes)); });
            EXPECT_EQ(log, "E File write failed at " + std::to_string(gDiskSize / 24 * 24) + "\n");
            EXPECT_EQ(pageFileBytes().size(), static_cast<std::size_t>(gDiskSize / 24 * 24))
                << "records only";
            std::string const there = readAll(filler);
            EXPECT_EQ(there, bytes.substr(0, there.size()));
            gDiskSize = 1 << 30;
            ASSERT_TRUE(append(filler, bytes.substr(there.size())));
            EXPECT_TRUE(readAll(filler) == bytes);
        }
    }
}

TEST_F(BlobFaultsTest, everyWriteMayFail) {
    HeldPages held;
    std::string const bytes = pattern(700);
    for (int level : {1, 5}) {
        logFrom(level);
        bool failed = true;
        for (int n = 0; failed; ++n) {
            ASSERT_LT(n, 500);
            KqbBlob other, blob;
            ASSERT_TRUE(append(other, bytes) && append(blob, bytes.substr(0, 20)));
            gCallsLeft = n;
            logOf([&] { failed = !append(blob, bytes.substr(20, 300)); });
            failed = gCallsLeft == 0;
            gCallsLeft = -1;
            std::string const there = readAll(blob);
            ASSERT_EQ(there, bytes.substr(0, there.size())) << n;
            ASSERT_TRUE(append(blob, bytes.substr(there.size()))) << n;
            ASSERT_TRUE(readAll(blob) == bytes && readAll(other) == bytes) << n;
            gCallsLeft = n % 3;  // giving back writes, too
            logOf([&] { other = KqbBlob(); });
            gCallsLeft = -1;
        }
    }
    EXPECT_TRUE(std::all_of(broken().begin(), broken().end(),
                            [](std::string const &rule) { return rule == "page kind"; }));
}

TEST_F(BlobFaultsTest, everyReadMayFail) {
    std::string const bytes = pattern(700);
    KqbBlob blob;
    ASSERT_TRUE(append(blob, bytes));
    gReadsFail = true;
    for (int n = 0, failed = 1; failed; ++n) {
        logFrom(n % 2 == 0 ? 1 : 5);
        std::string buffer(700, '\0');
        ASSERT_TRUE(blob.rewind());
        gCallsLeft = n;
        std::string const log = logOf([&] { failed = blob.read(buffer.data(), 700) != 700; });
        ASSERT_EQ(log.find("E File read failed while read page\n") != log.npos, failed) << log;
        gCallsLeft = -1;
    }
    EXPECT_TRUE(readAll(blob) == bytes);
}

TEST_F(BlobFaultsTest, everyAllocationMayFail) {
    std::string const bytes = pattern(2000);
    {
        KqbBlob warm;
        ASSERT_TRUE(append(warm, "x"));
    }
    bool failed = true;
    for (int n = 1; failed; ++n) {
        ASSERT_LT(n, 200);
        KqbBlob blob;
        bool succeeded = false;
        testing::internal::CaptureStderr();
        AllocFaults::failAt(n);
        succeeded = append(blob, bytes);
        AllocFaults::off();
        testing::internal::GetCapturedStderr();
        failed = AllocFaults::hit();
        ASSERT_TRUE(succeeded || failed) << n;
        // Some memory only saves work. Where it was needed, later is soon enough.
        std::string const rest = bytes.substr(static_cast<std::size_t>(blob.size()));
        ASSERT_TRUE(succeeded ? rest.empty() : append(blob, rest)) << n;
        ASSERT_TRUE(readAll(blob) == bytes) << n;
    }
    unsigned drained = 0;
    {
        PoolFaults const faults(0);
        KqbBlob blob;
        EXPECT_TRUE(!append(blob, "x") && blob.isNull());
        drained = faults.drained();
    }
    EXPECT_EQ(PoolFaults(0).drained(), drained);
}

TEST_F(BlobFaultsTest, damagedIds) {
    setSizes("8", "2");
    HeldPages held;
    auto &server = held.server;
    long long m = 0, f = 0, g = 0, next = 0;
    char bytes[8] = "";
    ASSERT_TRUE(server.locked(&KqbBlobPages::acquirePage, true, 0, &m) &&
                server.locked(&KqbBlobPages::acquirePage, false, m, &f) &&
                server.locked(&KqbBlobPages::acquirePage, false, f, &g));
    constexpr long long kHuge = 0x7FFFFFFFFFFFFFFE, kBehind = 3 + 2 * 16;
    auto const after = [&](long long id) {
        return server.locked(&KqbBlobPages::nextPage, id, &next);
    };
    auto const read = [&](long long id, unsigned offset) {
        return server.locked(&KqbBlobPages::readPage, id, bytes, offset, 8U);
    };
    auto const write = [&](long long id, unsigned offset) {
        return server.locked(&KqbBlobPages::writePage, id, bytes, offset, 0U);
    };
    auto const acquire = [&](bool inMemory, long long previous) {
        return server.locked(&KqbBlobPages::acquirePage, inMemory, previous, &next);
    };
    auto const free = [&](long long first, long long last) {
        server.locked(&KqbBlobPages::freePages, first, last);
        return false;
    };
    struct {
        std::function<bool()> action;  // fails
        char const *log;
        std::size_t brokenRules;
    } const cases[] = {
        {[&] { return after(0); }, "E Invalid page ID supplied to nextPage\n", 0},
        {[&] { return after(kBehind); }, "E File read failed during read page id\n", 0},
        {[&] { return after(kHuge); }, "E Seek to 9223372036854775807 failed\n", 0},
        {[&] { return read(f, 1); }, "", 1},
        {[&] { return !read(kBehind, 0); }, "", 0},
        {[&] { return write(m, 9); }, "", 1},
        {[&] { return write(kBehind, 0); }, "", 1},
        {[&] { return acquire(false, -7); }, "", 1},
        {[&] { return free(0, g) || free(m, 0); }, "", 2},
        {[&] { return free(f, m); }, "E Invalid page id 0 while freeing page\n", 0},
        {[&] { return free(kBehind + 16, kBehind + 16); }, "", 1},
        {[&] { return free(kBehind + 16, g); },
         "E File read failed during read page id\nE Seek/read failed at offset 48\n", 0}};
    for (auto const &c : cases) {
        broken().clear();
        EXPECT_EQ(logOf([&] { EXPECT_FALSE(c.action()) << &c - cases; }), c.log);
        EXPECT_EQ(broken().size(), c.brokenRules) << &c - cases;
    }
    // The failed acquirePage calls lost nothing, and nothing beside the records was written.
    long long pages[2] = {};
    ASSERT_TRUE(server.locked(&KqbBlobPages::acquirePage, true, 0, &pages[0]));
    ASSERT_TRUE(server.locked(&KqbBlobPages::acquirePage, false, 0, &pages[1]));
    EXPECT_TRUE(pages[0] == 2 && pages[1] == kBehind);
    EXPECT_EQ(pageFileBytes().size(), 3U * 16);
}

// Chains that run in a circle, of file pages and of both kinds, end; none of their pages is handed
// out twice.
TEST_F(BlobFaultsTest, circles) {
    setSizes("8", "2");
    HeldPages held;
    auto &server = held.server;
    for (bool mixed : {false, true}) {
        long long first = 0, second = 0, third = 0, again = 0;
        ASSERT_TRUE(server.locked(&KqbBlobPages::acquirePage, mixed, 0, &first) &&
                    server.locked(&KqbBlobPages::acquirePage, false, first, &second) &&
                    server.locked(&KqbBlobPages::acquirePage, mixed, second, &third));
        server.locked(&KqbBlobPages::freePages, first,
                      first);  // and yet the others still lead to it
        ASSERT_TRUE(server.locked(&KqbBlobPages::acquirePage, mixed, third, &again) &&
                    again == first);
        server.locked(&KqbBlobPages::freePages, first, 1'000'000);
        EXPECT_EQ(std::exchange(broken(), {}), std::vector<std::string>{"page chain"});
    }
    std::set<long long> handedOut;
    for (int i = 0; i < 12; ++i) {
        long long page = 0;
        ASSERT_TRUE(server.locked(&KqbBlobPages::acquirePage, i % 2 == 0, 0, &page));
        EXPECT_TRUE(handedOut.insert(page).second) << page;
    }
}

}  // namespace
