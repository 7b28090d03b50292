// Large values through pages against the plain ways to keep them in a temporary file. A program
// hands its bytes over in pieces of 64 KiB, or of 4 KiB, and takes them back likewise.
#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

#include "bench/library.h"

namespace {

constexpr std::size_t kPage = 4096;
constexpr std::size_t kLarge = 256 << 20;
constexpr std::size_t kSmall = 1 << 20;
constexpr std::size_t kMaxPiece = 64 << 10;

char gPiece[kMaxPiece];

// A temporary file without a name.
class Scratch {
public:
    Scratch() {
        char name[] = "/tmp/kqbbench.XXXXXX";
        file_ = mkstemp(name);
        unlink(name);
    }
    ~Scratch() { close(file_); }
    int file() const { return file_; }

private:
    int file_;
};

// Calls step(offset) for every step bytes of size.
template <class Step>
bool inSteps(std::size_t size, std::size_t by, Step step) {
    bool succeeded = true;
    for (std::size_t offset = 0; offset < size; offset += by) succeeded &= step(offset);
    return succeeded;
}

void check(benchmark::State &state, bool succeeded) {
    if (!succeeded) state.SkipWithError("failed");
    benchmark::ClobberMemory();
}

bool kqbRound(std::size_t size, std::size_t piece) {
    KqbBlob blob;
    auto const bytes = static_cast<long long>(piece);
    return inSteps(size, piece, [&](std::size_t) { return blob.append(gPiece, bytes); }) &&
           blob.rewind() &&
           inSteps(size, piece, [&](std::size_t) { return blob.read(gPiece, bytes) == bytes; });
}

// One call for each `unit` bytes of a piece.
bool fileRound(int file, std::size_t size, std::size_t unit) {
    auto const bytes = static_cast<ssize_t>(unit);
    return inSteps(size, unit,
                   [&](std::size_t offset) {
                       return pwrite(file, gPiece + offset % kMaxPiece, unit,
                                     static_cast<off_t>(offset)) == bytes;
                   }) &&
           inSteps(size, unit, [&](std::size_t offset) {
               return pread(file, gPiece + offset % kMaxPiece, unit, static_cast<off_t>(offset)) ==
                      bytes;
           });
}

bool stdioRound(std::FILE *file, std::size_t size, std::size_t piece) {
    std::rewind(file);
    bool const written = inSteps(
        size, piece, [&](std::size_t) { return std::fwrite(gPiece, 1, piece, file) == piece; });
    std::rewind(file);
    return written && inSteps(size, piece, [&](std::size_t) {
               return std::fread(gPiece, 1, piece, file) == piece;
           });
}

// A temporary database whose rows are zeroed blobs, written and read through handles on them.
class Database {
public:
    Database() {
        sqlite3_open("", &database_);
        run("PRAGMA journal_mode=OFF");
        run("CREATE TABLE t(id INTEGER PRIMARY KEY, bytes BLOB)");
    }
    ~Database() { sqlite3_close(database_); }

    bool round(std::size_t size) {
        auto const piece = static_cast<int>(kMaxPiece);
        run("BEGIN");
        run("INSERT INTO t VALUES(1, zeroblob(" + std::to_string(size) + "))");
        sqlite3_blob *blob = nullptr;
        bool succeeded = sqlite3_blob_open(database_, "main", "t", "bytes", 1, 1, &blob) == 0;
        succeeded = succeeded && inSteps(size, kMaxPiece, [&](std::size_t offset) {
                        return sqlite3_blob_write(blob, gPiece, piece, static_cast<int>(offset)) ==
                               SQLITE_OK;
                    });
        succeeded = succeeded && inSteps(size, kMaxPiece, [&](std::size_t offset) {
                        return sqlite3_blob_read(blob, gPiece, piece, static_cast<int>(offset)) ==
                               SQLITE_OK;
                    });
        sqlite3_blob_close(blob);
        run("DELETE FROM t");
        run("COMMIT");
        return succeeded;
    }

private:
    void run(std::string const &sql) {
        sqlite3_exec(database_, sql.c_str(), nullptr, nullptr, nullptr);
    }
    sqlite3 *database_ = nullptr;
};

// --- 256 MiB into a new file each time ----------------------------------------------------------

void kqbLarge(benchmark::State &state, std::size_t piece) {
    for (auto _ : state) check(state, kqbRound(kLarge, piece));
}

void fileLarge(benchmark::State &state, std::size_t unit) {
    for (auto _ : state) {
        Scratch const scratch;
        check(state, fileRound(scratch.file(), kLarge, unit));
    }
}

void stdioLarge(benchmark::State &state) {
    for (auto _ : state) {
        std::FILE *const file = std::tmpfile();
        check(state, stdioRound(file, kLarge, kMaxPiece));
        std::fclose(file);
    }
}

void sqliteLarge(benchmark::State &state) {
    for (auto _ : state) check(state, Database().round(kLarge));
}

// --- 1 MiB into pages that were used before -----------------------------------------------------

void kqbSmall(benchmark::State &state, std::size_t piece) {
    KqbBlob keeper;  // or else the page file would go with each blob
    keeper.append("", 0);
    kqbRound(kSmall, piece);
    for (auto _ : state) check(state, kqbRound(kSmall, piece));
}

void fileSmall(benchmark::State &state, std::size_t unit) {
    Scratch const scratch;
    fileRound(scratch.file(), kSmall, unit);
    for (auto _ : state) check(state, fileRound(scratch.file(), kSmall, unit));
}

void stdioSmall(benchmark::State &state) {
    std::FILE *const file = std::tmpfile();
    stdioRound(file, kSmall, kMaxPiece);
    for (auto _ : state) check(state, stdioRound(file, kSmall, kMaxPiece));
    std::fclose(file);
}

void sqliteSmall(benchmark::State &state) {
    Database database;
    database.round(kSmall);
    for (auto _ : state) check(state, database.round(kSmall));
}

#define ROW(function, name, ...) \
    BENCHMARK_CAPTURE(function, row, ##__VA_ARGS__)->Name(name)->UseRealTime()

ROW(kqbLarge, "blob of 256 MiB/kqb", kMaxPiece)->Iterations(1);
ROW(fileLarge, "blob of 256 MiB/pwrite and pread of 4 KiB", kPage)->Iterations(1);
ROW(fileLarge, "blob of 256 MiB/pwrite and pread of 64 KiB", kMaxPiece)->Iterations(1);
BENCHMARK(stdioLarge)->Name("blob of 256 MiB/stdio")->UseRealTime()->Iterations(1);
BENCHMARK(sqliteLarge)->Name("blob of 256 MiB/SQLite")->UseRealTime()->Iterations(1);
ROW(kqbLarge, "blob of 256 MiB by 4 KiB/kqb", kPage)->Iterations(1);
ROW(fileLarge, "blob of 256 MiB by 4 KiB/pwrite and pread of 4 KiB", kPage)->Iterations(1);

ROW(kqbSmall, "blob of 1 MiB, reused pages/kqb", kMaxPiece);
ROW(fileSmall, "blob of 1 MiB, reused pages/pwrite and pread of 4 KiB", kPage);
ROW(fileSmall, "blob of 1 MiB, reused pages/pwrite and pread of 64 KiB", kMaxPiece);
BENCHMARK(stdioSmall)->Name("blob of 1 MiB, reused pages/stdio")->UseRealTime();
BENCHMARK(sqliteSmall)->Name("blob of 1 MiB, reused pages/SQLite")->UseRealTime();
ROW(kqbSmall, "blob of 1 MiB, reused pages by 4 KiB/kqb", kPage);
ROW(fileSmall, "blob of 1 MiB, reused pages by 4 KiB/pwrite and pread of 4 KiB", kPage);

// Started, so that logging has its ordinary levels, and page operations are not timed.
void startWithOptions() {
    char const *reason = nullptr;
    setenv("KQEXEC_HOME", KQB_BENCH_HOME, 1);
    if (kqbStartup(&reason, 0) != 0) std::fprintf(stderr, "%s\n", reason);
    KqbConfigOptions *const options = kqbGetConfigOptions("");
    options->setOption("BASE/TEMP", "/tmp");
    options->setOption("BASE/BLOB/PAGESIZE", "4096");
    options->setOption("BASE/BLOB/MEMPAGES", "10");
}

}  // namespace

int main(int argc, char **argv) {
    std::fill_n(gPiece, sizeof gPiece, 'b');
    return runBenchmarks(argc, argv, startWithOptions);
}
