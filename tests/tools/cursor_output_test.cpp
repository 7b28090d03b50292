#include "tools/kqb/cursor_output.h"

#include <sstream>
#include <string>

#include "data/cursor_fixture.h"
#include "kqb/kqbdatavarwlpcursor.h"
#include "tools/kqb/output.h"

namespace {

template <class Cursor>
std::string written(Cursor &cursor, CursorFormat format) {
    std::ostringstream out;
    writeCursor(out, cursor, format);
    return out.str();
}

class CursorOutputTest : public CursorTest {
protected:
    static Owned<KqbDatavarCursorCreater> typedCursor() {
        auto cursor = own(createDatavarResidentCursor());
        for (char const *const name : {"boolean", "integer", "real", "string", "date"})
            cursor->addColumn(name, KqbTypeString);
        cursor->beginRow();
        KqbDatavar const values[] = {KqbDatavar().assign(true), KqbDatavar().assign(-7),
                                     KqbDatavar().assign(KqbReal("0.10000000000000000001")),
                                     KqbDatavar().assign("a,\"b\"\n\xff"),
                                     KqbDatavar().assign(KqbDate("2020-02-03T04:05:06"))};
        for (int i = 0; i < 5; ++i) cursor->setValue(i, values[i]);
        cursor->endRow();
        cursor->beginRow();
        cursor->setValue(2, KqbDatavar().assign(KqbReal("-Infinity")));
        cursor->setValue(3, KqbDatavar().assign(""));
        cursor->endRow();
        return cursor;
    }
};

TEST_F(CursorOutputTest, VariantsKeepTheirTypesInJson) {
    auto const cursor = typedCursor();
    EXPECT_EQ(
        "{\"boolean\":true,\"integer\":-7,\"real\":0.10000000000000000001,"
        "\"string\":\"a,\\\"b\\\"\\n\xef\xbf\xbd\",\"date\":\"2020-02-03T04:05:06.000\"}\n"
        "{\"boolean\":null,\"integer\":null,\"real\":\"-Infinity\",\"string\":\"\",\"date\":null}"
        "\n",
        written(*cursor, CursorFormat::kJson));
}

TEST_F(CursorOutputTest, CsvQuotesWhatNeedsIt) {
    auto const cursor = typedCursor();
    EXPECT_EQ(
        "boolean,integer,real,string,date\r\n"
        "true,-7,0.10000000000000000001,\"a,\"\"b\"\"\n\xff\",2020-02-03T04:05:06.000\r\n"
        ",,-Infinity,\"\",\r\n",
        written(*cursor, CursorFormat::kCsv));
}

TEST_F(CursorOutputTest, TableHasAColumnForEachColumn) {
    auto const cursor = own(createStringResidentCursor());
    cursor->addColumn("name");
    cursor->addColumn("x");
    for (char const *const name : {"Grüße", "a\tb"}) {
        cursor->beginRow();
        cursor->setValue(0, name);
        cursor->setValue(1, "1");
        cursor->endRow();
    }
    EXPECT_EQ("name   x\nGrüße  1\na\\tb   1\n", written(*cursor, CursorFormat::kTable));
}

TEST_F(CursorOutputTest, CursorThatFailsIsAFailure) {
    auto const cursor = own(createDatavarWlpCursor());
    EXPECT_THROW(written(*cursor, CursorFormat::kCsv), Failure);
    EXPECT_THROW(written(*cursor, CursorFormat::kTable), Failure);
}

}  // namespace
