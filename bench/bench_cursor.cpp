// One million rows of (integer, real, text, date, text), written and read through the cursors and
// through the peers. Everybody gets each value in the form in which it keeps values: cursors over
// variants a variant, cursors over strings a string, SQLite what its columns hold, and the vector
// what its variant holds. Where a value is made, everybody makes it anew for each row.
#include <malloc.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "bench/library.h"
#include "platform/kqwlp.h"

namespace {

constexpr int kRows = 1000000;
constexpr int kTexts = 1024;

// The bare number of a decimal, for those who keep it as bytes.
struct Decimal {
    unsigned long long words[3];
};

// What rows are made of; texts of 4 to 35 bytes.
struct Source {
    std::vector<std::string> texts;
    std::vector<KqbString> strings;
    std::vector<KqbReal> reals;
    std::vector<Decimal> decimals;
    std::vector<std::string> realTexts;
    std::vector<KqbDate> dates;
    std::vector<std::string> dateTexts;

    Source() {
        for (int i = 0; i < kTexts; ++i) {
            texts.push_back(std::string(static_cast<unsigned>(i % 32), 'a') +
                            std::to_string(1000 + i));
            strings.emplace_back(texts.back().c_str());
            reals.emplace_back(KqbReal(i * 7919 % 1000000) / KqbReal(100));
            decimals.emplace_back();
            reals.back().asFD(&decimals.back().words);
            realTexts.emplace_back(reals.back().asString().asCstr());
            dates.emplace_back(KqbDate(42000.0 + i + (i % 24) / 24.0));
            dateTexts.emplace_back(dates.back().asString(true).asCstr());
        }
    }
};

// Made in main, where the library is up.
Source *gSource = nullptr;

int at(int row, int step) { return row * step & (kTexts - 1); }

void check(benchmark::State &state, bool sound) {
    if (!sound) state.SkipWithError("wrong");
}

// --- Cursors --------------------------------------------------------------------------------------

struct Release {
    template <class Cursor>
    void operator()(Cursor *cursor) const {
        cursor->release();
    }
};
using Datavars = std::unique_ptr<KqbDatavarCursorCreater, Release>;
using Strings = std::unique_ptr<KqbStringCursorCreater, Release>;

KqbDatavarCursorCreater *createWlp() { return createDatavarWlpCursor(); }
KqbStringCursorCreater *createStringWlp() { return createStringWlpCursor(); }

void defineColumns(KqbDatavarCursorCreater &cursor) {
    kqbType const types[] = {KqbTypeInteger, KqbTypeReal, KqbTypeString, KqbTypeDate,
                             KqbTypeString};
    for (kqbType const type : types) cursor.addColumn("column", type);
    cursor.createColumns();
}

void defineColumns(KqbStringCursorCreater &cursor) {
    for (int i = 0; i < 5; ++i) cursor.addColumn("column");
    cursor.createColumns();
}

void addRows(KqbDatavarCursorCreater &cursor) {
    Source const &source = *gSource;
    KqbDatavar integer, real, text, date, other;
    for (int row = 0; row < kRows; ++row) {
        cursor.beginRow();
        cursor.setValue(0, integer.assign(row));
        cursor.setValue(1, real.assign(source.reals[static_cast<unsigned>(at(row, 3))]));
        cursor.setValue(2, text.assign(source.strings[static_cast<unsigned>(at(row, 5))]));
        cursor.setValue(3, date.assign(source.dates[static_cast<unsigned>(at(row, 1))]));
        cursor.setValue(4, other.assign(source.strings[static_cast<unsigned>(at(row, 7))]));
        cursor.endRow();
    }
    cursor.finish();
}

void addRows(KqbStringCursorCreater &cursor) {
    Source const &source = *gSource;
    KqbString integer, real, text, date, other;
    for (int row = 0; row < kRows; ++row) {
        cursor.beginRow();
        cursor.setValue(0, integer.assign(row));
        cursor.setValue(1,
                        real.assign(source.realTexts[static_cast<unsigned>(at(row, 3))].c_str()));
        cursor.setValue(2, text.assign(source.texts[static_cast<unsigned>(at(row, 5))].c_str()));
        cursor.setValue(3,
                        date.assign(source.dateTexts[static_cast<unsigned>(at(row, 1))].c_str()));
        cursor.setValue(4, other.assign(source.texts[static_cast<unsigned>(at(row, 7))].c_str()));
        cursor.endRow();
    }
    cursor.finish();
}

template <class Cursor>
Cursor filled(typename Cursor::pointer made) {
    Cursor cursor(made);
    defineColumns(*cursor);
    addRows(*cursor);
    return cursor;
}

long long scan(KqbDatavarCursor &cursor) {
    long long sum = 0;
    cursor.rewind();
    while (cursor.next() == KqbCursorRow) {
        sum += cursor.getValue(0).asInt64();
        benchmark::DoNotOptimize(cursor.getValue(1).getRaw(nullptr));
        sum += cursor.getValue(2).length();
        benchmark::DoNotOptimize(cursor.getValue(3).getRaw(nullptr));
        sum += cursor.getValue(4).length();
    }
    return sum;
}

long long scan(KqbStringCursor &cursor) {
    long long sum = 0;
    cursor.rewind();
    while (cursor.next() == KqbCursorRow) {
        for (int i = 0; i < 5; ++i) sum += cursor.getValue(i).cStrSize();
    }
    return sum;
}

template <class Cursor>
void insertInto(benchmark::State &state, typename Cursor::pointer (*create)()) {
    for (auto _ : state) {
        Cursor cursor = filled<Cursor>(create());
        long long rows = 0;
        cursor->getRowCount(&rows);
        check(state, rows == kRows);
        state.PauseTiming();
        cursor.reset();
        state.ResumeTiming();
    }
}

template <class Cursor>
void scanAll(benchmark::State &state, typename Cursor::pointer (*create)()) {
    Cursor const cursor = filled<Cursor>(create());
    for (auto _ : state) check(state, scan(*cursor) > 0);
}

// From memory into a row set and back.
template <class Cursor>
void copyBoth(benchmark::State &state, typename Cursor::pointer (*resident)(),
              typename Cursor::pointer (*wlp)()) {
    Cursor const source = filled<Cursor>(resident());
    for (auto _ : state) {
        Cursor middle(wlp()), back(resident());
        check(state, copyCursor(source.get(), middle.get(), nullptr) &&
                         copyCursor(middle.get(), back.get(), nullptr));
        state.PauseTiming();
        middle.reset();
        back.reset();
        state.ResumeTiming();
    }
}

// The same cursors filled and read without a copy.
template <class Cursor>
void insertAndScanBoth(benchmark::State &state, typename Cursor::pointer (*resident)(),
                       typename Cursor::pointer (*wlp)()) {
    for (auto _ : state) {
        Cursor a = filled<Cursor>(wlp());
        Cursor b = filled<Cursor>(resident());
        check(state, scan(*a) == scan(*b));
        state.PauseTiming();
        a.reset();
        b.reset();
        state.ResumeTiming();
    }
}

// --- SQLite ---------------------------------------------------------------------------------------

class Sqlite {
public:
    // Columns of types, or of texts. For a real it gets a double, though that is not exact.
    explicit Sqlite(bool strings) : strings_(strings) {
        sqlite3_open_v2(":memory:", &db_,
                        SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
        run(strings ? "create table t(a text, b text, c text, d text, e text)"
                    : "create table t(a integer, b real, c text, d real, e text)");
    }
    ~Sqlite() { sqlite3_close(db_); }
    Sqlite(Sqlite const &) = delete;
    Sqlite &operator=(Sqlite const &) = delete;

    void fill() {
        sqlite3_stmt *insert = nullptr;
        sqlite3_prepare_v2(db_, "insert into t values(?,?,?,?,?)", -1, &insert, nullptr);
        run("begin");
        for (int row = 0; row < kRows; ++row) {
            strings_ ? bindTexts(insert, row) : bindTypes(insert, row);
            sqlite3_step(insert);
            sqlite3_reset(insert);
        }
        run("commit");
        sqlite3_finalize(insert);
    }

    long long scan() {
        sqlite3_stmt *select = nullptr;
        sqlite3_prepare_v2(db_, "select a, b, c, d, e from t", -1, &select, nullptr);
        long long sum = 0;
        while (sqlite3_step(select) == SQLITE_ROW)
            sum += strings_ ? sumTexts(select) : sumTypes(select);
        sqlite3_finalize(select);
        return sum;
    }

    long long bytes() const {
        long long pages = 0, size = 0;
        number("pragma page_count", &pages);
        number("pragma page_size", &size);
        return pages * size;
    }

private:
    void run(char const *sql) { sqlite3_exec(db_, sql, nullptr, nullptr, nullptr); }
    void number(char const *sql, long long *value) const {
        sqlite3_stmt *select = nullptr;
        sqlite3_prepare_v2(db_, sql, -1, &select, nullptr);
        if (sqlite3_step(select) == SQLITE_ROW) *value = sqlite3_column_int64(select, 0);
        sqlite3_finalize(select);
    }
    static void bind(sqlite3_stmt *insert, int column, std::string const &text) {
        sqlite3_bind_text(insert, column, text.data(), static_cast<int>(text.size()),
                          SQLITE_STATIC);
    }
    static void bindTypes(sqlite3_stmt *insert, int row) {
        Source const &source = *gSource;
        sqlite3_bind_int64(insert, 1, row);
        sqlite3_bind_double(insert, 2, at(row, 3) / 100.0);
        bind(insert, 3, source.texts[static_cast<unsigned>(at(row, 5))]);
        sqlite3_bind_double(insert, 4, source.dates[static_cast<unsigned>(at(row, 1))].asDouble());
        bind(insert, 5, source.texts[static_cast<unsigned>(at(row, 7))]);
    }
    static void bindTexts(sqlite3_stmt *insert, int row) {
        Source const &source = *gSource;
        char number[16];
        auto const end = std::to_chars(number, number + sizeof number, row).ptr;
        sqlite3_bind_text(insert, 1, number, static_cast<int>(end - number), SQLITE_TRANSIENT);
        bind(insert, 2, source.realTexts[static_cast<unsigned>(at(row, 3))]);
        bind(insert, 3, source.texts[static_cast<unsigned>(at(row, 5))]);
        bind(insert, 4, source.dateTexts[static_cast<unsigned>(at(row, 1))]);
        bind(insert, 5, source.texts[static_cast<unsigned>(at(row, 7))]);
    }
    static long long textOf(sqlite3_stmt *select, int column) {
        benchmark::DoNotOptimize(sqlite3_column_text(select, column));
        return sqlite3_column_bytes(select, column);
    }
    static long long sumTypes(sqlite3_stmt *select) {
        long long sum = sqlite3_column_int64(select, 0);
        benchmark::DoNotOptimize(sqlite3_column_double(select, 1));
        sum += textOf(select, 2);
        benchmark::DoNotOptimize(sqlite3_column_double(select, 3));
        return sum + textOf(select, 4);
    }
    static long long sumTexts(sqlite3_stmt *select) {
        long long sum = 0;
        for (int i = 0; i < 5; ++i) sum += textOf(select, i);
        return sum;
    }

    bool strings_;
    sqlite3 *db_ = nullptr;
};

void insertIntoSqlite(benchmark::State &state, bool strings) {
    for (auto _ : state) {
        auto db = std::make_unique<Sqlite>(strings);
        db->fill();
        state.PauseTiming();
        db.reset();
        state.ResumeTiming();
    }
}

void scanSqlite(benchmark::State &state, bool strings) {
    Sqlite db(strings);
    db.fill();
    for (auto _ : state) check(state, db.scan() > 0);
}

// --- Vectors --------------------------------------------------------------------------------------

using Value = std::variant<std::monostate, long long, Decimal, std::string, double>;
using Table = std::vector<std::vector<Value>>;

void insertIntoVectors(benchmark::State &state) {
    Source const &source = *gSource;
    for (auto _ : state) {
        Table table;
        for (int row = 0; row < kRows; ++row) {
            std::vector<Value> &values = table.emplace_back(5);
            values[0] = static_cast<long long>(row);
            values[1] = source.decimals[static_cast<unsigned>(at(row, 3))];
            values[2] = source.texts[static_cast<unsigned>(at(row, 5))];
            values[3] = source.dates[static_cast<unsigned>(at(row, 1))].asDouble();
            values[4] = source.texts[static_cast<unsigned>(at(row, 7))];
        }
        benchmark::DoNotOptimize(table.data());
        state.PauseTiming();
        table = {};
        state.ResumeTiming();
    }
}

void insertIntoStringVectors(benchmark::State &state) {
    Source const &source = *gSource;
    for (auto _ : state) {
        Table table;
        for (int row = 0; row < kRows; ++row) {
            std::vector<Value> &values = table.emplace_back(5);
            values[0] = std::to_string(row);
            values[1] = source.realTexts[static_cast<unsigned>(at(row, 3))];
            values[2] = source.texts[static_cast<unsigned>(at(row, 5))];
            values[3] = source.dateTexts[static_cast<unsigned>(at(row, 1))];
            values[4] = source.texts[static_cast<unsigned>(at(row, 7))];
        }
        benchmark::DoNotOptimize(table.data());
        state.PauseTiming();
        table = {};
        state.ResumeTiming();
    }
}

// --- Space ----------------------------------------------------------------------------------------

// What the heap has handed out, large pieces included.
double heapBytes() {
    struct mallinfo2 const info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd);
}

template <class Make>
void measureSpace(benchmark::State &state, Make const &make) {
    for (auto _ : state) {
        double const before = heapBytes();
        auto const made = make();
        state.counters["bytes_a_row"] = (heapBytes() - before) / kRows;
    }
}

void cursorSpace(benchmark::State &state) {
    measureSpace(state, [] { return filled<Datavars>(createWlp()); });
}

void stringCursorSpace(benchmark::State &state) {
    measureSpace(state, [] { return filled<Strings>(createStringWlp()); });
}

void sqliteSpace(benchmark::State &state, bool strings) {
    for (auto _ : state) {
        Sqlite db(strings);
        db.fill();
        state.counters["bytes_a_row"] = static_cast<double>(db.bytes()) / kRows;
    }
}

// --- Spilling -------------------------------------------------------------------------------------

constexpr std::size_t kBatch = std::size_t{64} << 10;

// The row set itself, since only it can be told to spill what it has.
class RowSet {
public:
    explicit RowSet(long long memory) {
        constexpr char codes[] = {KQWLP_INTEGER, KQWLP_REAL, KQWLP_TEXT, KQWLP_DATE, KQWLP_TEXT, 0};
        kqwlpRowSet_create(&set_, KQWLP_APPENDED, codes);
        kqwlpRowSet_setMemory(set_, memory, nullptr);
    }
    ~RowSet() { kqwlpRowSet_destroy(set_); }
    RowSet(RowSet const &) = delete;
    RowSet &operator=(RowSet const &) = delete;
    operator kqwlpRowSet *() const { return set_; }

    void fill() {
        Source const &source = *gSource;
        for (int row = 0; row < kRows; ++row) {
            std::string const &text = source.texts[static_cast<unsigned>(at(row, 5))];
            std::string const &other = source.texts[static_cast<unsigned>(at(row, 7))];
            kqwlpColumnValue const values[] = {
                {KQWLP_INTEGER, 0, 0, {.integer = row}},
                {KQWLP_REAL,
                 0,
                 KQWLP_REAL_SIZE,
                 {.bytes = source.decimals[static_cast<unsigned>(at(row, 3))].words}},
                {KQWLP_TEXT, 0, text.size(), {.bytes = text.data()}},
                {KQWLP_DATE,
                 0,
                 0,
                 {.date = source.dates[static_cast<unsigned>(at(row, 1))].asDouble()}},
                {KQWLP_TEXT, 0, other.size(), {.bytes = other.data()}}};
            kqwlpRowSet_addRow(set_, values);
        }
    }

private:
    kqwlpRowSet *set_ = nullptr;
};

void spill(benchmark::State &state) {
    for (auto _ : state) {
        state.PauseTiming();
        auto set = std::make_unique<RowSet>(KQWLP_DEFAULT_MEMORY);
        set->fill();
        state.ResumeTiming();
        check(state, kqwlpRowSet_setMemory(*set, 0, nullptr) == KQWLP_OK);
        state.PauseTiming();
        set.reset();
        state.ResumeTiming();
    }
}

void addAndSpill(benchmark::State &state) {
    for (auto _ : state) {
        auto set = std::make_unique<RowSet>(0);
        set->fill();
        state.PauseTiming();
        set.reset();
        state.ResumeTiming();
    }
}

void writeBatches(benchmark::State &state) {
    RowSet set(KQWLP_DEFAULT_MEMORY);
    set.fill();
    std::vector<char> const bytes(static_cast<std::size_t>(kqwlpRowSet_getUsage(set).memory), 'x');
    for (auto _ : state) {
        char name[] = "/tmp/kqbbenchXXXXXX";
        int const file = mkstemp(name);
        unlink(name);
        for (std::size_t done = 0; done < bytes.size();) {
            ssize_t const count =
                write(file, bytes.data() + done, std::min(kBatch, bytes.size() - done));
            check(state, count > 0);
            done += static_cast<std::size_t>(count);
        }
        state.PauseTiming();
        close(file);
        state.ResumeTiming();
    }
}

// --- All ------------------------------------------------------------------------------------------

void add(std::string const &name, auto function, auto... arguments) {
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State &state) {
        function(state, arguments...);
    })->Unit(benchmark::kMillisecond);
}

template <class Cursor>
void addCursors(std::string const &values, bool strings, typename Cursor::pointer (*resident)(),
                typename Cursor::pointer (*wlp)()) {
    using Create = typename Cursor::pointer (*)();
    for (auto const &[kind, create] :
         {std::pair<char const *, Create>{"resident", resident}, {"row set", wlp}}) {
        std::string const work = std::string(", ") + kind + ", " + values + "/";
        add("insert" + work + "kqb", insertInto<Cursor>, create);
        add("insert" + work + "SQLite", insertIntoSqlite, strings);
        add("insert" + work + "vectors", strings ? insertIntoStringVectors : insertIntoVectors);
        add("scan" + work + "kqb", scanAll<Cursor>, create);
        add("scan" + work + "SQLite", scanSqlite, strings);
    }
    add("copy, " + values + "/kqb", copyBoth<Cursor>, resident, wlp);
    add("copy, " + values + "/own insert and scan", insertAndScanBoth<Cursor>, resident, wlp);
}

void addAll() {
    addCursors<Datavars>("variants", false, createDatavarResidentCursor, createWlp);
    addCursors<Strings>("strings", true, createStringResidentCursor, createStringWlp);
    add("space, variants/kqb", cursorSpace);
    add("space, variants/SQLite", sqliteSpace, false);
    add("space, strings/kqb", stringCursorSpace);
    add("space, strings/SQLite", sqliteSpace, true);
    add("spill/kqb", spill);
    add("spill/64 KiB batches", writeBatches);
    add("add and spill/kqb", addAndSpill);
    add("add and spill/64 KiB batches", writeBatches);
}

}  // namespace

int main(int argc, char **argv) {
    Library const library;
    Source source;
    gSource = &source;
    addAll();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
