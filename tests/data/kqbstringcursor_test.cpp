#include "kqb/kqbstringcursor.h"

#include <string>
#include <vector>

#include "data/cursor_fixture.h"
#include "kqb/kqbstringkqwfcursor.h"
#include "kqb/kqbstringwlpcursor.h"

namespace {

using Creater = KqbStringCursorCreater;

Creater *createWlp() { return createStringWlpCursor(); }
Creater *createKqwf() { return createStringKQWFCursor(); }

// A null string as a text that no test uses otherwise.
std::string textOf(KqbString const &text) { return text.isNull() ? "null" : text.asCstr(); }

using Rows = std::vector<std::vector<std::string>>;

void fill(Creater &cursor, Rows const &rows) {
    cursor.addColumn("first");
    cursor.addColumn("second");
    ASSERT_TRUE(cursor.createColumns());
    for (auto const &row : rows) {
        ASSERT_TRUE(cursor.beginRow());
        for (std::size_t i = 0; i < row.size(); ++i)
            cursor.setValue(static_cast<int>(i), row[i] == "null" ? KqbString() : row[i].c_str());
        ASSERT_TRUE(cursor.endRow());
    }
    ASSERT_TRUE(cursor.finish());
}

Rows read(KqbStringCursor &cursor) {
    Rows rows;
    EXPECT_TRUE(cursor.rewind());
    while (cursor.next() == KqbCursorRow) {
        rows.emplace_back();
        for (int i = 0; i < cursor.getColumnCount(); ++i)
            rows.back().push_back(textOf(cursor.getValue(i)));
    }
    EXPECT_EQ(KqbCursorEnd, cursor.next());
    return rows;
}

Rows const kRows = {
    {"a", ""}, {"null", "Grüße"}, {"", "null"}, {std::string(3000, 'x'), "ill \xff"}};

class KqbStringCursorTest : public CursorTest,
                            public testing::WithParamInterface<Creater *(*)()> {};
INSTANTIATE_TEST_SUITE_P(, KqbStringCursorTest,
                         testing::Values(createStringResidentCursor, createWlp, createKqwf));

TEST_P(KqbStringCursorTest, NullAndEmptyAndAllTextsReadBack) {
    auto const cursor = own(GetParam()());
    ASSERT_TRUE(cursor->isReady());
    fill(*cursor, kRows);
    EXPECT_EQ(kRows, read(*cursor));
    long long rows = 0;
    EXPECT_TRUE(cursor->getRowCount(&rows));
    EXPECT_EQ(4, rows);
    EXPECT_EQ("second", textOf(cursor->getColumnName(1)));
    EXPECT_EQ("", textOf(cursor->getColumnName(2)));
    EXPECT_EQ("", textOf(cursor->getColumnName(-1)));
    EXPECT_EQ("null", textOf(cursor->getErrorMessage()));
}

TEST_P(KqbStringCursorTest, CopiesIntoEveryOtherKind) {
    auto const source = own(GetParam()());
    fill(*source, kRows);
    for (auto const make : {createStringResidentCursor, createWlp, createKqwf}) {
        auto const target = own(make());
        KqbString error;
        ASSERT_TRUE(copyCursor(source.get(), target.get(), &error));
        EXPECT_EQ(kRows, read(*target));
        bool const supported = make != createKqwf;
        EXPECT_EQ(supported, target->copyFrom(source.get()));
        EXPECT_EQ(kRows, read(*target));
        EXPECT_FALSE(target->copyFrom(target.get()));
        EXPECT_EQ(kRows, read(*target));
    }
}

TEST_P(KqbStringCursorTest, ValuesHandedOutStay) {
    auto const cursor = own(GetParam()());
    fill(*cursor, {{"one", "1"}, {"two", "2"}});
    ASSERT_EQ(KqbCursorRow, cursor->next());
    KqbString const kept = cursor->getValue(0);
    KqbString const again = cursor->getValue(0);
    ASSERT_EQ(KqbCursorRow, cursor->next());
    EXPECT_EQ("two", textOf(cursor->getValue(0)));
    EXPECT_EQ("one", textOf(kept));
    EXPECT_EQ("one", textOf(again));
}

// --- Row sources --------------------------------------------------------------------------------

// A source that notes what it is asked and answers as it is told.
struct Scripted : KqbRowSource {
    std::string log;
    int status = 0;
    int number = 0;  // what it counts, and next
    char const *answer = "text";

    static Scripted &of(KqbRowSource *source) { return *static_cast<Scripted *>(source); }
    static int note(KqbRowSource *source, std::string const &what) {
        of(source).log += what + " ";
        return of(source).status;
    }
    static int handOut(KqbRowSource *source, char const *name, int column, char const **text) {
        *text = of(source).answer;
        return note(source, name + std::to_string(column));
    }
    static int take(KqbRowSource *source, char const *name, char const *text, int length) {
        return note(source, name + std::to_string(length) + (text != nullptr ? text : "null"));
    }
    static int count(KqbRowSource *source, char const *name) {
        note(source, name);
        return of(source).number;
    }

    static KqbRowSourceOperations const kTable;

    Scripted() : KqbRowSource{&kTable} {}
};
KqbRowSourceOperations const Scripted::kTable = {
    [](KqbRowSource *s, char const *name, int length) { return take(s, "add", name, length); },
    [](KqbRowSource *s) { return note(s, "create"); },
    [](KqbRowSource *s) { return note(s, "finish"); },
    [](KqbRowSource *s) { return note(s, "end"); },
    [](KqbRowSource *s, int c, char const **text) { return handOut(s, "name", c, text); },
    [](KqbRowSource *s) { return of(s).answer; },
    [](KqbRowSource *s) { return count(s, "columns"); },
    [](KqbRowSource *s) { return count(s, "rows"); },
    [](KqbRowSource *s, int c, char const **text) { return handOut(s, "value", c, text); },
    [](KqbRowSource *s) { return note(s, "begin"); },
    [](KqbRowSource *s) { return count(s, "next"); },
    [](KqbRowSource *s) { note(s, "release"); },
    [](KqbRowSource *s, int, char const *text, int length) { return take(s, "set", text, length); },
    [](KqbRowSource *s) { return note(s, "rewind"); }};

class KqbStringKQWFCursorTest : public CursorTest {
protected:
    void SetUp() override {
        CursorTest::SetUp();
        cursor_ = own(createStringKQWFCursor());
        cursor_->setRowSource(&source_);
    }
    void TearDown() override {
        cursor_.reset();
        CursorTest::TearDown();
    }
    Scripted source_;
    Owned<KqbStringKQWFCursor> cursor_;
};

TEST_F(KqbStringKQWFCursorTest, EveryOperationIsTheSources) {
    EXPECT_EQ(4, cursor_->getRowSourceVersion());
    EXPECT_EQ(&source_, cursor_->getRowSource());
    EXPECT_FALSE(cursor_->isReady());
    source_.number = 3;
    cursor_->addColumn("naïve");
    EXPECT_TRUE(cursor_->createColumns() && cursor_->beginRow());
    cursor_->setValue(1, "ä");
    cursor_->setValue(2, KqbString());
    EXPECT_TRUE(cursor_->endRow() && cursor_->finish() && cursor_->rewind());
    EXPECT_EQ("text", textOf(cursor_->getColumnName(7)));
    EXPECT_EQ("text", textOf(cursor_->getValue(8)));
    EXPECT_EQ("text", textOf(cursor_->getErrorMessage()));
    long long rows = 0;
    EXPECT_TRUE(cursor_->getRowCount(&rows));
    EXPECT_EQ(3, rows);
    EXPECT_EQ(3, cursor_->getColumnCount());
    EXPECT_EQ("add6naïve create begin set2ä set0null end finish rewind name7 value8 rows columns ",
              source_.log);
}

TEST_F(KqbStringKQWFCursorTest, FailuresOfTheSourceAreTold) {
    source_.status = 5;
    EXPECT_FALSE(cursor_->createColumns());
    EXPECT_FALSE(cursor_->beginRow());
    EXPECT_FALSE(cursor_->endRow());
    EXPECT_FALSE(cursor_->finish());
    EXPECT_FALSE(cursor_->rewind());
    EXPECT_EQ("", textOf(cursor_->getColumnName(0)));
    EXPECT_EQ("", textOf(cursor_->getValue(0)));
    int const results[][2] = {{-3, KqbCursorFailure}, {0, KqbCursorRow}, {9, KqbCursorEnd}};
    for (auto const &[answer, result] : results) {
        source_.number = answer;
        EXPECT_EQ(result, cursor_->next());
    }
    source_.answer = nullptr;
    source_.status = 0;
    EXPECT_EQ("null", textOf(cursor_->getValue(0)));
    EXPECT_EQ("null", textOf(cursor_->getErrorMessage()));
}

TEST_F(KqbStringKQWFCursorTest, SourceThatFailsInMidCopyEndsIt) {
    auto const target = own(createStringResidentCursor());
    KqbString error;
    source_.number = -1;
    EXPECT_TRUE(copyCursor(cursor_.get(), target.get(), &error));
    EXPECT_EQ("text", textOf(error));
    EXPECT_TRUE(target->copyFrom(cursor_.get()));
    EXPECT_EQ("text", textOf(target->getErrorMessage()));
    source_.status = 1;
    EXPECT_FALSE(copyCursor(target.get(), cursor_.get(), &error));
    EXPECT_EQ("text", textOf(error));
}

TEST_F(KqbStringKQWFCursorTest, SourcesAreReleasedOnce) {
    Scripted second;
    cursor_->setRowSource(&source_);
    EXPECT_EQ("", source_.log);
    cursor_->setRowSource(&second);
    EXPECT_EQ("release ", source_.log);
    cursor_->setRowSource(nullptr);
    EXPECT_EQ("release ", second.log);
    EXPECT_TRUE(cursor_->isReady());
    cursor_->setRowSource(cursor_->getRowSource());
    fill(*cursor_, kRows);
    cursor_->setRowSource(&second);
    cursor_.reset();
    EXPECT_EQ("release release ", second.log);
    EXPECT_EQ("release ", source_.log);
}

TEST(KqbStringCursorSlots, AreInTheirOrder) {
    using Kqwf = KqbStringKQWFCursor;
    long const slots[] = {slotOf(&Kqwf::isReady),
                          slotOf(&Kqwf::getColumnName),
                          slotOf(&Kqwf::getColumnCount),
                          slotOf(&Kqwf::getValue),
                          slotOf(&Kqwf::getErrorMessage),
                          slotOf(&Kqwf::getRowCount),
                          slotOf(&Kqwf::next),
                          slotOf(&Kqwf::release),
                          slotOf(&Kqwf::rewind),
                          slotOf(&Kqwf::beginRow),
                          slotOf(&Kqwf::setValue),
                          slotOf(&Kqwf::endRow),
                          slotOf(&Kqwf::finish),
                          slotOf(&Kqwf::copyFrom),
                          slotOf(&Kqwf::addColumn),
                          slotOf(&Kqwf::createColumns),
                          slotOf(&Kqwf::getRowSourceVersion),
                          slotOf(&Kqwf::getRowSource),
                          slotOf(&Kqwf::setRowSource)};
    for (long i = 0; i < static_cast<long>(std::size(slots)); ++i) EXPECT_EQ(i, slots[i]);
}

}  // namespace
