#include "kqb/kqbdatavarcursor.h"

#include <random>
#include <string>
#include <vector>

#include "data/cursor_fixture.h"
#include "kqb/kqbdatavarwlpcursor.h"
#include "platform/kqwlp.h"
#include "support/alloc_faults.h"
#include "support/temporary_folder.h"

namespace {

using Creater = KqbDatavarCursorCreater;
using Row = std::vector<KqbDatavar>;

constexpr kqbType kTypes[] = {KqbTypeInteger, KqbTypeReal,   KqbTypeString,
                              KqbTypeDate,    KqbTypeString, KqbTypeBoolean};

Creater *createWlp() { return createDatavarWlpCursor(); }

template <class Value>
KqbDatavar var(Value const &value) {
    return KqbDatavar().assign(value);
}

std::string textOf(KqbString const &text) { return text.isNull() ? "null" : text.asCstr(); }

std::string messageOf(KqbDatavarCursor &cursor) { return textOf(cursor.getErrorMessage()); }

long long countOf(KqbDatavarCursor &cursor) {
    long long rows = -1;
    EXPECT_TRUE(cursor.getRowCount(&rows) && cursor.getRowCount(nullptr));
    return rows;
}

KqbDatavar randomValue(std::mt19937 &random, kqbType type) {
    auto const number = static_cast<unsigned>(random());
    if (number % 7 == 0) return {};
    switch (type) {
        case KqbTypeInteger:
            return var(static_cast<long long>(number) * (number % 2 == 0 ? 1 : -1000000007LL));
        case KqbTypeReal:
            return var(KqbReal(number) / KqbReal(number % 3 == 0 ? 7 : 100));
        case KqbTypeDate:
            return var(KqbDate(number % 60000 + number % 24 / 24.0));
        case KqbTypeBoolean:
            return var(number % 2 == 0);
        default:
            return var(std::string(number % 40, number % 5 == 0 ? '\xe9' : 'a').c_str());
    }
}

void defineColumns(Creater &cursor) {
    for (kqbType const type : kTypes) cursor.addColumn(kqbTypeToString(type), type);
    ASSERT_TRUE(cursor.createColumns());
}

bool addRow(Creater &cursor, Row const &row) {
    if (!cursor.beginRow()) return false;
    for (std::size_t i = row.size(); i-- > 0;) cursor.setValue(static_cast<int>(i), row[i]);
    return cursor.endRow();
}

std::vector<Row> fill(Creater &cursor, std::size_t count) {
    std::mt19937 random(11);
    std::vector<Row> rows(count);
    for (Row &row : rows) {
        for (kqbType const type : kTypes) row.push_back(randomValue(random, type));
        EXPECT_TRUE(addRow(cursor, row));
    }
    EXPECT_TRUE(cursor.finish());
    return rows;
}

void expectRow(KqbDatavarCursor &cursor, Row const &row) {
    for (std::size_t i = 0; i < row.size(); ++i) {
        KqbDatavar const value = cursor.getValue(static_cast<int>(i));
        ASSERT_EQ(row[i].type(), value.type());
        ASSERT_EQ(row[i].length(), value.length());
        ASSERT_EQ(0, row[i].compare(value))
            << textOf(row[i].asString()) << textOf(value.asString());
    }
}

void expectRows(KqbDatavarCursor &cursor, std::vector<Row> const &rows) {
    ASSERT_EQ(static_cast<long long>(rows.size()), countOf(cursor));
    ASSERT_TRUE(cursor.rewind());
    for (Row const &row : rows) {
        ASSERT_EQ(KqbCursorRow, cursor.next());
        ASSERT_NO_FATAL_FAILURE(expectRow(cursor, row));
    }
    ASSERT_EQ(KqbCursorEnd, cursor.next());
    ASSERT_EQ(KqbCursorEnd, cursor.next());
}

// --- All cursors over variants ----------------------------------------------------------------

class KqbDatavarCursorTest : public CursorTest, public testing::WithParamInterface<Creater *(*)()> {
protected:
    Owned<Creater> create() { return own(GetParam()()); }
    Owned<Creater> createDefined() {
        auto cursor = create();
        defineColumns(*cursor);
        return cursor;
    }
};
INSTANTIATE_TEST_SUITE_P(, KqbDatavarCursorTest,
                         testing::Values(createDatavarResidentCursor, createWlp));

TEST_P(KqbDatavarCursorTest, ColumnsAreKnownByNumber) {
    auto const cursor = createDefined();
    ASSERT_TRUE(cursor->isReady());
    ASSERT_EQ(static_cast<int>(std::size(kTypes)), cursor->getColumnCount());
    EXPECT_EQ("Date", textOf(cursor->getColumnName(3)));
    EXPECT_EQ(KqbTypeDate, cursor->getColumnType(3));
    for (int const none : {-1, cursor->getColumnCount()}) {
        EXPECT_EQ("", textOf(cursor->getColumnName(none)));
        EXPECT_EQ(KqbTypeUnknown, cursor->getColumnType(none));
        EXPECT_TRUE(cursor->getValue(none).isNull());
    }
}

TEST_P(KqbDatavarCursorTest, RowsReadBackAndOutliveTheCursor) {
    std::vector<Row> rows, kept;
    {
        auto const cursor = createDefined();
        rows = fill(*cursor, 3000);
        ASSERT_NO_FATAL_FAILURE(expectRows(*cursor, rows));
        for (cursor->rewind(); cursor->next() == KqbCursorRow;) {
            kept.emplace_back();
            for (int i = 0; i < cursor->getColumnCount(); ++i)
                kept.back().push_back(cursor->getValue(i));
        }
    }
    auto const again = createDefined();
    for (Row const &row : kept) ASSERT_TRUE(addRow(*again, row));
    expectRows(*again, rows);
}

TEST_P(KqbDatavarCursorTest, CopiesIntoEveryOtherKind) {
    auto const source = createDefined();
    std::vector<Row> const rows = fill(*source, 2500);
    for (auto const make : {createDatavarResidentCursor, createWlp}) {
        auto const target = own(make());
        KqbString error("old");
        source->next();
        ASSERT_TRUE(copyCursor(source.get(), target.get(), &error));
        EXPECT_TRUE(error.isNull());
        EXPECT_EQ("Real", textOf(target->getColumnName(1)));
        EXPECT_EQ(KqbTypeReal, target->getColumnType(1));
        ASSERT_NO_FATAL_FAILURE(expectRows(*target, rows));
        ASSERT_TRUE(addRow(*target, rows[0]));
        ASSERT_TRUE(target->copyFrom(source.get()));  // in place of what it had
        ASSERT_NO_FATAL_FAILURE(expectRows(*target, rows));
    }
}

TEST_P(KqbDatavarCursorTest, CopyIntoItselfIsRefusedAndHarmless) {
    auto const cursor = createDefined();
    std::vector<Row> const rows = fill(*cursor, 3);
    KqbString error;
    EXPECT_FALSE(copyCursor(cursor.get(), cursor.get(), &error));
    EXPECT_EQ("A cursor cannot be copied into itself", textOf(error));
    EXPECT_FALSE(cursor->copyFrom(cursor.get()));
    EXPECT_EQ(textOf(error), messageOf(*cursor));
    EXPECT_FALSE(cursor->copyFrom(nullptr));
    EXPECT_FALSE(copyCursor(nullptr, cursor.get(), nullptr));
    EXPECT_FALSE(copyCursor(cursor.get(), nullptr, nullptr));
    expectRows(*cursor, rows);
}

TEST_P(KqbDatavarCursorTest, ValuesWithoutARowOrAColumnAreIgnored) {
    auto const cursor = createDefined();
    cursor->setValue(0, var(1));
    ASSERT_TRUE(cursor->beginRow());
    for (int const none : {-1, 6, INT32_MAX, INT32_MIN}) cursor->setValue(none, var(2));
    cursor->setValue(0, var(3));
    cursor->setValue(0, KqbDatavar());
    cursor->setValue(2, var("a longer text than the last"));
    cursor->setValue(2, var("b"));
    ASSERT_TRUE(cursor->endRow());
    cursor->setValue(0, var(4));
    expectRows(*cursor, {{{}, {}, var("b"), {}, {}, {}}});
}

TEST_P(KqbDatavarCursorTest, OpenRowIsNeitherCountedNorReached) {
    auto const cursor = createDefined();
    std::vector<Row> const rows = fill(*cursor, 2);
    ASSERT_TRUE(cursor->beginRow());
    cursor->setValue(0, var(1));
    EXPECT_EQ(2, countOf(*cursor));
    ASSERT_NO_FATAL_FAILURE(expectRows(*cursor, rows));
    EXPECT_TRUE(cursor->endRow());
    EXPECT_EQ(3, countOf(*cursor));
}

TEST_P(KqbDatavarCursorTest, RewindsInTheMiddleAndReadsWhileRowsAreAdded) {
    auto const cursor = createDefined();
    std::vector<Row> rows = fill(*cursor, 1500);
    EXPECT_TRUE(cursor->getValue(0).isNull());
    for (int count : {0, 1, 700}) {
        ASSERT_TRUE(cursor->rewind());
        for (int i = 0; i < count; ++i) ASSERT_EQ(KqbCursorRow, cursor->next());
    }
    for (std::size_t i = 699; i < 2000; ++i) {
        ASSERT_TRUE(addRow(*cursor, rows[i]));
        rows.push_back(rows[i]);
        ASSERT_NO_FATAL_FAILURE(expectRow(*cursor, rows[i])) << "where it was";
        ASSERT_EQ(KqbCursorRow, cursor->next());
    }
    expectRows(*cursor, rows);
}

// Has texts that go to the heap, beyond the pool's stock.
Row longRow() {
    return {var(5),
            var(KqbReal("0.1")),
            var(std::string(5000, 'x').c_str()),
            var(KqbDate(1.5)),
            var(std::string(3000, 'y').c_str()),
            var(true)};
}

// Whatever is refused is told, and what was accepted is there.
void runShortOfMemory(Creater &cursor, Row const &row) {
    long long accepted = 0;
    for (kqbType const type : kTypes) cursor.addColumn("name", type);
    if (!cursor.createColumns()) return;
    for (int i = 0; i < 3; ++i) accepted += addRow(cursor, row);
    AllocFaults::off();
    ASSERT_EQ(accepted, countOf(cursor));
    ASSERT_EQ(accepted == 3, messageOf(cursor) == "null") << messageOf(cursor);
    for (cursor.rewind(); cursor.next() == KqbCursorRow; --accepted) expectRow(cursor, row);
    ASSERT_EQ(0, accepted);
}

TEST_P(KqbDatavarCursorTest, MemoryRunsOutAtEachStep) {
    refusesRequests_ = true;
    Row const row = longRow();
    bool refused = true;
    for (long n = 1; refused; ++n) {
        AllocFaults::failAt(n);
        Owned<Creater> const cursor(GetParam()());
        if (cursor != nullptr) {
            ASSERT_NO_FATAL_FAILURE(runShortOfMemory(*cursor, row)) << n;
        }
        AllocFaults::off();
        refused = AllocFaults::hit();
    }
}

TEST_P(KqbDatavarCursorTest, CopiesAreWholeOrTellThatMemoryRanOut) {
    refusesRequests_ = true;
    std::vector<Row> const rows(2, longRow());
    bool refused = true;
    for (long n = 1; refused; ++n) {
        auto const source = createDefined();
        for (Row const &row : rows) ASSERT_TRUE(addRow(*source, row));
        auto const target = own(createDatavarResidentCursor());
        KqbString error;
        AllocFaults::failAt(n);
        bool const copied = copyCursor(source.get(), target.get(), &error);
        AllocFaults::off();
        refused = AllocFaults::hit();
        ASSERT_EQ(copied, error.isNull()) << n;
        ASSERT_NO_FATAL_FAILURE(expectRows(*source, rows)) << n;
        if (!copied) continue;
        ASSERT_NO_FATAL_FAILURE(expectRows(*target, rows)) << n;
    }
}

// --- Resident -----------------------------------------------------------------------------------

using KqbDatavarResidentCursorTest = CursorTest;

TEST_F(KqbDatavarResidentCursorTest, AnyColumnKeepsAnyValue) {
    auto const cursor = own(createDatavarResidentCursor());
    cursor->addColumn("any", KqbTypeInteger);
    KqbBlob blob;
    ASSERT_TRUE(blob.append("bytes", 5));
    KqbDatavar nullReal, unknown;
    ASSERT_TRUE(nullReal.setType(KqbTypeReal) && unknown.assign(KqbTypeUnknown, "ab", 2));
    KqbReal const rounded("1.0000000000000000000000000000000000000000000000000000000001");
    for (KqbDatavar const &value : {var("text"), var(blob), nullReal, unknown, var(rounded)})
        ASSERT_TRUE(addRow(*cursor, {value}));
    KqbReal const real =
        (cursor->next(), cursor->next(), cursor->next(), cursor->getValue(0)).asReal();
    EXPECT_EQ(KqbTypeReal, cursor->getValue(0).type());
    EXPECT_TRUE(real.isNull());
    EXPECT_EQ(KqbCursorRow, cursor->next());
    EXPECT_EQ(KqbTypeUnknown, cursor->getValue(0).type());
    EXPECT_FALSE(cursor->getValue(0).isNull());
    EXPECT_EQ(KqbCursorRow, cursor->next());
    EXPECT_TRUE(cursor->getValue(0).asReal().truncated());
    cursor->rewind();
    EXPECT_EQ(KqbCursorRow, (cursor->next(), cursor->next()));
    EXPECT_EQ(5, cursor->getValue(0).asBlob().size());
}

TEST_F(KqbDatavarResidentCursorTest, ColumnsMayComeBehindRows) {
    auto const cursor = own(createDatavarResidentCursor());
    ASSERT_TRUE(addRow(*cursor, {}));
    cursor->addColumn("a", KqbTypeInteger);
    ASSERT_TRUE(cursor->beginRow());
    cursor->setValue(0, var(1));
    for (int i = 0; i < 9; ++i) cursor->addColumn("b", KqbTypeInteger);
    cursor->setValue(9, var(2));
    ASSERT_TRUE(cursor->endRow());
    Row row(10);
    ASSERT_NO_FATAL_FAILURE((expectRows(*cursor, {row, (row[0] = var(1), row[9] = var(2), row)})));
}

// The place behind the last row is a place: a row that comes there is not gone to any more.
TEST_F(KqbDatavarResidentCursorTest, NextStaysBehindTheLastRow) {
    auto const cursor = own(createDatavarResidentCursor());
    cursor->addColumn("a", KqbTypeInteger);
    ASSERT_TRUE(addRow(*cursor, {var(0)}));
    EXPECT_EQ(KqbCursorRow, cursor->next());
    EXPECT_EQ(KqbCursorEnd, cursor->next());
    ASSERT_TRUE(cursor->beginRow());
    cursor->setValue(0, var(1));
    ASSERT_TRUE(cursor->beginRow());  // completes the one before
    cursor->setValue(0, var(2));
    EXPECT_EQ(2, countOf(*cursor));
    EXPECT_EQ(1, cursor->getValue(0).asInt());
    EXPECT_EQ(KqbCursorEnd, cursor->next());
    EXPECT_EQ(2, cursor->getValue(0).asInt());
    EXPECT_TRUE(cursor->endRow() && cursor->endRow());
    EXPECT_EQ(KqbCursorEnd, cursor->next());
    expectRows(*cursor, {{var(0)}, {var(1)}, {var(2)}});
}

// --- Row sets -----------------------------------------------------------------------------------

class KqbDatavarWlpCursorTest : public CursorTest {
protected:
    void SetUp() override {
        CursorTest::SetUp();
        cursor_ = own(createDatavarWlpCursor());
    }
    void TearDown() override {
        cursor_.reset();
        CursorTest::TearDown();
    }
    Owned<KqbDatavarWlpCursor> cursor_;
};

TEST_F(KqbDatavarWlpCursorTest, MissingRowSetsAndColumnsAreTold) {
    EXPECT_EQ(KqbCursorFailure, cursor_->next());
    EXPECT_EQ("Rowset missing", messageOf(*cursor_));
    EXPECT_EQ(0, countOf(*cursor_));
    EXPECT_FALSE(cursor_->createColumns());
    EXPECT_EQ("Cannot create zero columns", messageOf(*cursor_));
    EXPECT_TRUE(cursor_->beginRow());
    EXPECT_FALSE(cursor_->endRow());
    EXPECT_EQ("Failed to add input row", messageOf(*cursor_));
    auto const empty = own(createDatavarResidentCursor());
    KqbString error;
    EXPECT_FALSE(copyCursor(empty.get(), cursor_.get(), &error));
    EXPECT_EQ("Cannot create zero columns", textOf(error));
}

TEST_F(KqbDatavarWlpCursorTest, UnsupportedColumnHoldsNothing) {
    cursor_->addColumn("a", KqbTypeInteger);
    cursor_->addColumn("b", KqbTypeBinary);
    EXPECT_TRUE(cursor_->createColumns());
    EXPECT_EQ("Data type not supported", messageOf(*cursor_));
    EXPECT_TRUE(addRow(*cursor_, {var(1), {}}));
    EXPECT_FALSE(addRow(*cursor_, {var(2), var("x")}));
    EXPECT_EQ("Failed to add input row", messageOf(*cursor_));
    expectRows(*cursor_, {{var(1), {}}});
}

TEST_F(KqbDatavarWlpCursorTest, ValuesBecomeTheirColumnsTypeOrAreRefused) {
    defineColumns(*cursor_);
    ASSERT_TRUE(addRow(*cursor_, {var("12"), var(5), var(true), var("2020-02-03"),
                                  var(KqbReal("1.5")), var("yes")}));
    KqbDatavar nullReal;
    ASSERT_TRUE(nullReal.setType(KqbTypeReal));
    ASSERT_TRUE(addRow(*cursor_, {{}, nullReal}));
    expectRows(*cursor_, {{var(12), var(KqbReal(5)), var("true"), var(KqbDate("2020-02-03")),
                           var("1.5"), var(true)},
                          Row(6)});
    KqbBlob blob;
    ASSERT_TRUE(blob.append("x", 1));
    for (int column : {0, 1, 2, 3, 5}) {
        ASSERT_TRUE(cursor_->beginRow());
        cursor_->setValue(column, column == 2 ? var(blob) : var("no such value"));
        EXPECT_FALSE(cursor_->endRow()) << column;
        cursor_->setValue(column, {});
        EXPECT_TRUE(cursor_->endRow()) << column << ", corrected";
        EXPECT_FALSE(cursor_->endRow()) << "no row is open any more";
    }
    EXPECT_EQ(7, countOf(*cursor_));
}

TEST_F(KqbDatavarWlpCursorTest, ColumnsBehindRowsNeedANewSet) {
    cursor_->addColumn("a", KqbTypeInteger);
    ASSERT_TRUE(cursor_->createColumns());
    ASSERT_TRUE(addRow(*cursor_, {var(1)}));
    cursor_->addColumn("b", KqbTypeInteger);
    EXPECT_FALSE(addRow(*cursor_, {var(2), var(3)}));
    expectRows(*cursor_, {{var(1)}});
    ASSERT_TRUE(cursor_->createColumns());
    ASSERT_TRUE(addRow(*cursor_, {var(2), var(3)}));
    expectRows(*cursor_, {{var(2), var(3)}});
}

TEST_F(KqbDatavarWlpCursorTest, TakesOverARowSet) {
    kqwlpRowSet *set = nullptr;
    kqwlpColumnValue value{KQWLP_INTEGER, 0, 0, {.integer = 7}};
    ASSERT_EQ(0, kqwlpRowSet_create(&set, KQWLP_APPENDED, "\7"));
    ASSERT_EQ(0, kqwlpRowSet_addRow(set, &value));
    cursor_->addColumn("old", KqbTypeString);
    ASSERT_TRUE(cursor_->createColumns());
    for (int i = 0; i < 2; ++i) cursor_->setRowSet(set);
    EXPECT_EQ(set, cursor_->getRowSet());
    EXPECT_EQ(0, cursor_->getColumnCount());
    expectRows(*cursor_, {{var(7)}});
    EXPECT_FALSE(addRow(*cursor_, {var(8)}));
    cursor_->addColumn("number", KqbTypeInteger);
    EXPECT_TRUE(addRow(*cursor_, {var(8)}));
    expectRows(*cursor_, {{var(7)}, {var(8)}});
    cursor_->setRowSet(nullptr);
    EXPECT_EQ(KqbCursorFailure, cursor_->next());
}

TEST_F(KqbDatavarWlpCursorTest, OptionsSayWhereRowsAreKept) {
    TemporaryFolder const folder;
    setOption("BASE/CURSOR/MEMORY", "20000");
    setOption("BASE/TEMP", folder.path().c_str());
    defineColumns(*cursor_);
    std::vector<Row> const rows = fill(*cursor_, 5000);
    kqwlpUsage const usage = kqwlpRowSet_getUsage(cursor_->getRowSet());
    EXPECT_LE(usage.memory, 20000);
    EXPECT_GT(usage.file, 50000);
    expectRows(*cursor_, rows);

    setOption("BASE/CURSOR/MEMORY", "0");
    setOption("BASE/TEMP", folder.path("missing").c_str());
    ASSERT_TRUE(cursor_->createColumns());
    long long accepted = 0;
    while (addRow(*cursor_, rows[static_cast<std::size_t>(accepted)])) ++accepted;
    EXPECT_EQ("Failed to add input row", messageOf(*cursor_));
    EXPECT_EQ(accepted, countOf(*cursor_));
    expectRows(*cursor_, {rows.begin(), rows.begin() + accepted});
}

TEST(KqbDatavarCursorSlots, AreInTheirOrder) {
    using Wlp = KqbDatavarWlpCursor;
    long const slots[] = {
        slotOf(&Wlp::isReady),        slotOf(&Wlp::getColumnName), slotOf(&Wlp::getColumnType),
        slotOf(&Wlp::getColumnCount), slotOf(&Wlp::getValue),      slotOf(&Wlp::getErrorMessage),
        slotOf(&Wlp::getRowCount),    slotOf(&Wlp::next),          slotOf(&Wlp::release),
        slotOf(&Wlp::rewind),         slotOf(&Wlp::beginRow),      slotOf(&Wlp::setValue),
        slotOf(&Wlp::endRow),         slotOf(&Wlp::finish),        slotOf(&Wlp::copyFrom),
        slotOf(&Wlp::addColumn),      slotOf(&Wlp::createColumns), slotOf(&Wlp::getRowSet),
        slotOf(&Wlp::setRowSet)};
    for (long i = 0; i < static_cast<long>(std::size(slots)); ++i) EXPECT_EQ(i, slots[i]);
}

}  // namespace
