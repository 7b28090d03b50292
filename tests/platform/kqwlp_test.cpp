#include "platform/kqwlp.h"

#include <gtest/gtest.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <functional>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "backends/kqsfio/kqsfio_calls.h"
#include "backends/kqwlp/kqwlp_chunk.h"
#include "support/alloc_faults.h"
#include "support/temporary_folder.h"

namespace {

constexpr char kMixed[] = {KQWLP_INTEGER, KQWLP_REAL,    KQWLP_TEXT,        KQWLP_DATE,
                           KQWLP_TEXT,    KQWLP_BOOLEAN, KQWLP_UNSUPPORTED, 0};

// A value as its bytes; none when absent.
using Value = std::optional<std::string>;
using Row = std::vector<Value>;

template <class Number>
std::string bytesOf(Number number) {
    return {reinterpret_cast<char const *>(&number), sizeof number};
}

kqwlpColumnValue toRecord(char type, Value const &value) {
    kqwlpColumnValue record{};
    record.type = static_cast<unsigned char>(type);
    record.absent = !value.has_value();
    if (!value) return record;
    if (type == KQWLP_TEXT || type == KQWLP_REAL) {
        record.size = value->size();
        record.bytes = value->data();
    } else if (type == KQWLP_BOOLEAN) {
        record.boolean = value->front() != 0;
    } else {
        std::memcpy(&record.integer, value->data(), sizeof record.integer);
    }
    return record;
}

Value fromRecord(kqwlpColumnValue const &record) {
    if (record.absent != 0) return {};
    if (record.type == KQWLP_TEXT || record.type == KQWLP_REAL)
        return std::string(static_cast<char const *>(record.bytes), record.size);
    if (record.type == KQWLP_BOOLEAN) return bytesOf(record.boolean);
    return bytesOf(record.integer);
}

// Numbers close to each other, with common zeros at their ends, equal, and of any kind.
std::string randomNumber(std::mt19937_64 &random, unsigned mood) {
    std::uint64_t const any = random();
    std::uint64_t const numbers[] = {
        any % 200, 0 - any % 200, (any % 50) << 40,
        7,         any,           static_cast<std::uint64_t>(INT64_MIN) + (any % 2) * ~0ULL};
    return bytesOf(numbers[mood % std::size(numbers)]);
}

Value randomValue(std::mt19937_64 &random, char type, unsigned mood) {
    bool const absent = mood % 3 == 0 ? random() % 4 == 0 : mood % 7 == 1;
    if (absent || type == KQWLP_UNSUPPORTED) return {};
    if (type == KQWLP_BOOLEAN) return bytesOf(random() % 2 == 0);
    if (type == KQWLP_TEXT)
        return std::string(random() % (mood % 5 == 0 ? 400 : 20), static_cast<char>(random()));
    std::string number = randomNumber(random, mood);
    if (type == KQWLP_REAL) number += randomNumber(random, mood + 1) + randomNumber(random, mood);
    return number;
}

class Set {
public:
    explicit Set(char const *codes = kMixed) : codes_(codes) {
        EXPECT_EQ(KQWLP_OK, kqwlpRowSet_create(&handle_, KQWLP_APPENDED, codes));
    }
    ~Set() { EXPECT_EQ(KQWLP_OK, kqwlpRowSet_destroy(handle_)); }
    Set(Set const &) = delete;
    Set &operator=(Set const &) = delete;
    operator kqwlpRowSet *() const { return handle_; }

    int add(Row const &row) {
        std::vector<kqwlpColumnValue> records;
        for (std::size_t i = 0; i < row.size(); ++i) records.push_back(toRecord(codes_[i], row[i]));
        int const code = kqwlpRowSet_addRow(handle_, records.data());
        if (code == KQWLP_OK) accept(row);
        return code;
    }
    void accept(Row const &row) { model_.push_back(row); }

    // Adds rows until one is not accepted or there are so many more.
    int addRandom(std::size_t count, std::mt19937_64 &random) {
        int code = KQWLP_OK;
        for (std::size_t i = 0; code == KQWLP_OK && i < count; ++i) {
            Row row;
            for (std::size_t c = 0; codes_[c] != 0; ++c)
                row.push_back(
                    randomValue(random, codes_[c], static_cast<unsigned>(model_.size() / 700 + c)));
            code = add(row);
        }
        return code;
    }

    void expectRow(std::size_t number, kqwlpRow row) const {
        for (std::size_t c = 0; codes_[c] != 0; ++c) {
            ASSERT_EQ(codes_[c], static_cast<char>(row[c].type));
            ASSERT_EQ(model_[number][c], fromRecord(row[c])) << "row " << number << " column " << c;
        }
    }

    // All rows from one on, in order; then seeks here and there.
    void expectAll(std::size_t from = 0) const {
        kqwlpRow row = nullptr;
        ASSERT_EQ(static_cast<long long>(model_.size()), kqwlpRowSet_getRows(handle_));
        for (std::size_t number = from; number < model_.size(); ++number) {
            int const code =
                number == from ? seek(number, &row) : kqwlpRowSet_nextRow(handle_, &row);
            ASSERT_EQ(KQWLP_OK, code);
            ASSERT_NO_FATAL_FAILURE(expectRow(number, row));
        }
        ASSERT_EQ(KQWLP_END, kqwlpRowSet_nextRow(handle_, &row));
        for (std::size_t k = 0; k < 100 && !model_.empty(); ++k) {
            std::size_t const number = k * 7919 % model_.size();
            ASSERT_EQ(KQWLP_OK, seek(number, &row));
            ASSERT_NO_FATAL_FAILURE(expectRow(number, row));
        }
    }

    int seek(std::size_t number, kqwlpRow *row) const {
        return kqwlpRowSet_seekRow(handle_, static_cast<long long>(number), row);
    }
    std::size_t size() const { return model_.size(); }

private:
    char const *codes_;
    kqwlpRowSet *handle_ = nullptr;
    std::vector<Row> model_;
};

class KqWlpFaults : public testing::Test {
protected:
    ~KqWlpFaults() override { kqsfio::calls = real_; }
    TemporaryFolder folder_;
    kqsfio::Calls const real_ = kqsfio::calls;
    std::mt19937_64 random_{20260};
};

TEST(KqWlp, RowsReadBackAsTheyWereAdded) {
    std::mt19937_64 random(1);
    for (std::size_t const count : {0U, 1U, 900U, 9000U}) {
        for (long long const limit : {KQWLP_DEFAULT_MEMORY, 100000LL, 0LL}) {
            SCOPED_TRACE(testing::Message() << count << " rows, limit " << limit);
            Set set;
            ASSERT_EQ(KQWLP_OK, kqwlpRowSet_setMemory(set, limit, nullptr));
            ASSERT_EQ(KQWLP_OK, set.addRandom(count, random));
            EXPECT_LE(kqwlpRowSet_getUsage(set).memory, limit);
            ASSERT_NO_FATAL_FAILURE(set.expectAll());
        }
    }
}

TEST(KqWlp, EveryTypeCarriesItsWholeRange) {
    constexpr char codes[] = {KQWLP_INTEGER, KQWLP_DATE, KQWLP_TEXT, 0};
    Set set(codes);
    std::string const large(2 << 20, 'x');
    ASSERT_EQ(KQWLP_OK, set.add({bytesOf(INT64_MIN), bytesOf(-0.0), large}));
    ASSERT_EQ(KQWLP_OK, set.add({bytesOf(INT64_MAX), bytesOf(std::nan("7")), ""}));
    ASSERT_EQ(KQWLP_OK, set.add({bytesOf(0LL), bytesOf(HUGE_VAL), std::string("a\0b", 3)}));
    set.expectAll();
}

// The worked example of the format.
TEST(KqWlp, PackedChunkIsAsDescribed) {
    kqwlp::Shape shape;
    kqwlp::Rows rows;
    kqwlp::Packer packer;
    ASSERT_TRUE(shape.describe("\7"));
    rows.allocate(shape);
    packer.prepare(shape);
    std::optional<long long> const numbers[] = {1000, {}, 1300, 1200};
    for (unsigned i = 0; i < 4; ++i) {
        kqwlpColumnValue const value{
            KQWLP_INTEGER, !numbers[i], 0, {.integer = numbers[i].value_or(0)}};
        rows.write(shape, i, &value, 0);
    }
    std::string packed(packer.plan(shape, rows, 4, 0), '?');
    packer.write(shape, rows, 4, nullptr, 0, packed.data());
    EXPECT_EQ(std::string("\x01\x02\xe8\x03\0\0\0\0\0\0\x01\x02\0\0\x4b\x32", 16), packed);
}

TEST(KqWlp, AddingAndReadingMayAlternate) {
    std::mt19937_64 random(2);
    Set set;
    kqwlpRow row = nullptr;
    ASSERT_EQ(KQWLP_OK, kqwlpRowSet_setMemory(set, 50000, nullptr));
    EXPECT_EQ(KQWLP_END, kqwlpRowSet_currentRow(set, &row));
    EXPECT_EQ(KQWLP_END, kqwlpRowSet_nextRow(set, &row));
    EXPECT_EQ(KQWLP_END, set.seek(5, &row));
    for (std::size_t read = 0; read < 5000; ++read) {
        ASSERT_EQ(KQWLP_OK, set.addRandom(1 + read % 2, random));
        ASSERT_EQ(KQWLP_OK, kqwlpRowSet_nextRow(set, &row));
        ASSERT_NO_FATAL_FAILURE(set.expectRow(read, row));
        ASSERT_EQ(KQWLP_OK, set.addRandom(1, random));
        ASSERT_EQ(KQWLP_OK, kqwlpRowSet_currentRow(set, &row));
        ASSERT_NO_FATAL_FAILURE(set.expectRow(read, row));
    }
    ASSERT_NO_FATAL_FAILURE(set.expectAll(5000));
}

TEST(KqWlp, WrongArgumentsAreTold) {
    kqwlpRowSet *made = nullptr;
    EXPECT_EQ(KQWLP_COLUMNS, kqwlpRowSet_create(&made, 1, ""));
    EXPECT_EQ(KQWLP_COLUMNS, kqwlpRowSet_create(&made, 1, "\7\6"));
    EXPECT_EQ(KQWLP_ARGUMENT, kqwlpRowSet_create(&made, 2, "\7"));
    EXPECT_EQ(KQWLP_ARGUMENT, kqwlpRowSet_create(&made, 1, nullptr));
    EXPECT_EQ(nullptr, made);
    EXPECT_EQ(KQWLP_OK, kqwlpRowSet_destroy(nullptr));
    kqwlpRow row = nullptr;
    EXPECT_EQ(KQWLP_ARGUMENT, kqwlpRowSet_nextRow(nullptr, &row));
    Set const set;
    EXPECT_EQ(KQWLP_ARGUMENT, kqwlpRowSet_seekRow(set, -1, &row));
    EXPECT_EQ(KQWLP_ARGUMENT, kqwlpRowSet_setMemory(set, -1, nullptr));
    EXPECT_EQ(KQWLP_ARGUMENT, kqwlpRowSet_addRow(set, nullptr));
}

TEST(KqWlp, ValuesThatDoNotFitTheirColumnAreRefused) {
    std::string const text = "abc";
    struct {
        char column;
        kqwlpColumnValue value;
        int code;
    } const cases[] = {
        {KQWLP_INTEGER, toRecord(KQWLP_DATE, bytesOf(1.0)), KQWLP_TYPE},
        {KQWLP_INTEGER, kqwlpColumnValue{}, KQWLP_TYPE},
        {KQWLP_UNSUPPORTED, toRecord(KQWLP_UNSUPPORTED, bytesOf(1LL)), KQWLP_TYPE},
        {KQWLP_UNSUPPORTED, toRecord(KQWLP_UNSUPPORTED, {}), KQWLP_OK},
        {KQWLP_REAL, toRecord(KQWLP_REAL, text), KQWLP_TYPE},
        {KQWLP_TEXT, {KQWLP_TEXT, 0, 3, {.bytes = nullptr}}, KQWLP_ARGUMENT},
        {KQWLP_TEXT, {KQWLP_TEXT, 0, 0, {.bytes = nullptr}}, KQWLP_OK},
    };
    for (auto const &[column, value, code] : cases) {
        char const codes[] = {column, 0};
        Set const set(codes);
        EXPECT_EQ(code, kqwlpRowSet_addRow(set, &value)) << int{column};
        EXPECT_EQ(code == KQWLP_OK, kqwlpRowSet_getRows(set));
    }
}

TEST_F(KqWlpFaults, LimitMovesWholeChunksToAFileWithoutAName) {
    Set set;
    ASSERT_EQ(KQWLP_OK, set.addRandom(5000, random_));
    kqwlpUsage const before = kqwlpRowSet_getUsage(set);
    EXPECT_GT(before.memory, 100000);
    EXPECT_EQ(0, before.file);
    ASSERT_EQ(KQWLP_OK, kqwlpRowSet_setMemory(set, before.memory / 2, folder_.path().c_str()));
    kqwlpUsage const after = kqwlpRowSet_getUsage(set);
    EXPECT_LE(after.memory, before.memory / 2);
    EXPECT_EQ(before.memory, after.memory + after.file);
    EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));
    set.expectAll();
}

TEST_F(KqWlpFaults, FullDiskStopsAddingAndLosesNothing) {
    Set set;
    ASSERT_EQ(KQWLP_OK, kqwlpRowSet_setMemory(set, 0, folder_.path("missing").c_str()));
    EXPECT_EQ(KQWLP_SPILL_WRITE, set.addRandom(5000, random_));
    ASSERT_EQ(KQWLP_OK, kqwlpRowSet_setMemory(set, 0, folder_.path().c_str()));
    ASSERT_EQ(KQWLP_OK, set.addRandom(2000, random_));
    kqsfio::calls.pwritev = [](int file, iovec const *pieces, int, off_t position) -> ssize_t {
        size_t const size = pieces->iov_len;
        if (size > 100) return ::pwrite(file, pieces->iov_base, size - 100, position);
        return errno = ENOSPC, -1;
    };
    EXPECT_EQ(KQWLP_SPILL_WRITE, set.addRandom(5000, random_));
    EXPECT_EQ(KQWLP_SPILL_WRITE, set.addRandom(1, random_));
    ASSERT_NO_FATAL_FAILURE(set.expectAll());
    kqsfio::calls = real_;
    ASSERT_EQ(KQWLP_OK, set.addRandom(5000, random_));
    ASSERT_NO_FATAL_FAILURE(set.expectAll());
}

TEST_F(KqWlpFaults, ChunkThatCannotBeMovedStaysInMemory) {
    Set set;
    ASSERT_EQ(KQWLP_OK, set.addRandom(5000, random_));
    kqsfio::calls.pwritev = [](int, iovec const *, int, off_t) -> ssize_t {
        return errno = EIO, -1;
    };
    long long const memory = kqwlpRowSet_getUsage(set).memory;
    EXPECT_EQ(KQWLP_SPILL_WRITE, kqwlpRowSet_setMemory(set, 0, nullptr));
    EXPECT_EQ(memory, kqwlpRowSet_getUsage(set).memory);
    set.expectAll();
}

TEST_F(KqWlpFaults, RowThatCannotBeReadIsTriedAgain) {
    Set set;
    ASSERT_EQ(KQWLP_OK, kqwlpRowSet_setMemory(set, 0, nullptr));
    ASSERT_EQ(KQWLP_OK, set.addRandom(3000, random_));
    kqwlpRow row = nullptr;
    for (auto const fault : {+[](int, void *, size_t, off_t) -> ssize_t { return errno = EIO, -1; },
                             +[](int, void *, size_t, off_t) -> ssize_t { return 0; }}) {
        kqsfio::calls.pread = fault;
        EXPECT_EQ(KQWLP_SPILL_READ, set.seek(3, &row));
        EXPECT_EQ(KQWLP_SPILL_READ, kqwlpRowSet_nextRow(set, &row));
        EXPECT_EQ(nullptr, row);
    }
    kqsfio::calls = real_;
    ASSERT_EQ(KQWLP_OK, kqwlpRowSet_nextRow(set, &row));
    set.expectRow(3, row);
}

int refusing(long allocation, std::function<int()> const &operation) {
    AllocFaults::failAt(allocation);
    int const code = operation();
    AllocFaults::off();
    EXPECT_EQ(AllocFaults::hit() ? KQWLP_MEMORY : KQWLP_OK, code);
    return code;
}

TEST_F(KqWlpFaults, MemoryRunsOutWhileASetIsMade) {
    int code = KQWLP_MEMORY;
    for (long n = 1; code != KQWLP_OK; ++n) {
        kqwlpRowSet *set = nullptr;
        code = refusing(n, [&] { return kqwlpRowSet_create(&set, KQWLP_APPENDED, kMixed); });
        kqwlpRowSet_destroy(set);
    }
}

TEST_F(KqWlpFaults, MemoryRunsOutWhileRowsAreAddedAndRead) {
    Set set;
    kqwlpRow row = nullptr;
    Row const sample = {bytesOf(1LL), std::string(24, 'r'), std::string(90, 't'), {}, {}, {}, {}};
    std::vector<kqwlpColumnValue> records;
    for (std::size_t c = 0; c < sample.size(); ++c)
        records.push_back(toRecord(kMixed[c], sample[c]));
    ASSERT_EQ(KQWLP_OK, kqwlpRowSet_setMemory(set, 60000, folder_.path().c_str()));
    for (unsigned k = 0; k < 9000; ++k) {
        auto const add = [&] { return kqwlpRowSet_addRow(set, records.data()); };
        auto const seek = [&] { return set.seek(k * 31 % set.size(), &row); };
        if (refusing(1 + k % 3, add) != KQWLP_OK) {
            ASSERT_EQ(KQWLP_OK, add());
        }
        set.accept(sample);
        if (k % 10 == 0 && refusing(1 + k % 3, seek) != KQWLP_OK) {
            ASSERT_EQ(KQWLP_OK, seek());
        }
    }
    set.expectAll();
}

}  // namespace
