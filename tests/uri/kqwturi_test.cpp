#include <vector>

#include "kqb/kqbdatavar.h"
#include "kqb/kqworktableuri.h"
#include "platform/kqlog.h"
#include "uri/uri_test.h"

namespace {

using KqWorkTableURITest = URITest;

struct Column {
    char const *name, *value;
    int type;
};

Owner<KqWorkTableURI> table(std::string const &text) {
    return own(dynamic_cast<KqWorkTableURI *>(getURIFromURIString(KqbString(text.c_str()))));
}

Owner<KqWorkTableURI> built(char const *name, std::vector<Column> const &columns) {
    auto uri = own(getWorkTableURIFromComponents(name));
    for (Column const &c : columns) EXPECT_TRUE(uri->addColumn(c.name, c.value, c.type, nullptr));
    return uri;
}

// name|type:column|value ... start,count
std::string content(KqWorkTableURI &uri) {
    std::string text = shown(uri.getName());
    KqbString name, value;
    int type = -1;
    for (int i = 0; uri.getColumn(i, &name, &value, &type); ++i) {
        text += "|" + std::to_string(type) + ":" + shown(name) + "|" + shown(value);
    }
    __int64 start = -1, count = -1;
    if (!uri.getRange(&start, &count)) return text;
    return text + " " + std::to_string(start) + "," + std::to_string(count);
}

TEST_F(KqWorkTableURITest, composesAndReadsBack) {
    struct {
        char const *name;
        std::vector<Column> columns;
        char const *text;
        char const *again = nullptr;  // where the text cannot tell everything
    } const cases[] = {
        {"T", {}, ""},
        {"a/b\\c d%41#x&\xC3\xA9\xFF?", {}, ""},
        {"T", {{"id", "7", 2}, {"n", "O'Neil,Jr", 0}}, "id=Integer'7',n='O%27Neil%2CJr'"},
        {"T",
         {{"b", "oN", 1}, {"r", " 1e5", 3}, {"s", "a,'", 4}, {"d", "5 May 2017", 5}},
         "b=Boolean'oN',r=Real' 1e5',s=String'a%2C%27',d=Date'5 May 2017'"},
        {"T",
         {{"a", "?#=&%%2c%2 ", 0}, {"b", "#start=1", 4}},
         "a='?#=&%%2c%2 ',b=String'#start=1'"},
        {"T", {{"?=#'\xC3\xA9\xFF%2C", "\xC3\xA9\xFF", 0}}, "?=#'\xC3\xA9\xFF%2C='\xC3\xA9\xFF'"},
        {"T", {{"a='x", "'", 0}, {"=", "=", 0}, {"='x'", "", 0}}, "a='x='%27',=='=',='x'"},
        {"T", {{"a=", "", 0}, {"b=''", "", 0}, {"c=Integer'x'", "", 0}}, "a=,b='',c=Integer'x'"},
        {"T", {{"b", "7'x,%27", 1}, {"c", "0'", 1}}, "b=Boolean'7'x,%27',c=Boolean'0''"},
        {"T", {{"a#start=1", "1", 2}, {"b#start=-1", "", 0}}, "a#start=1=Integer'1',b#start=-1"},
        {"T", {{"a", "", 2}, {"b", "x", 6}, {"c", "y", -9}}, "a,b='x',c='y'", "T|0:a||0:b|x|0:c|y"},
        {"T?a", {}, "", "T|0:a|"},
        {"T", {{"a,b", "x", 0}}, "a,b='x'", "T|0:a||0:b|x"},
        {"T", {{"a='b'", "", 0}}, "a='b'", "T|0:a|b"},
        {"T", {{"a#count=1", "", 0}}, "a#count=1", "T|0:a|"},
        {"T", {{"a", "%27%2C", 0}}, "a='%27%2C'", "T|0:a|',"},
        {"T", {{"a", "1',x", 1}}, "a=Boolean'1',x'", "T|1:a|1|0:x'|"},
    };
    for (auto const &c : cases) {
        auto const uri = built(c.name, c.columns);
        std::string const query = c.text;
        std::string const text =
            std::string("kqwt://") + c.name + (query.empty() ? "" : "?") + query;
        SCOPED_TRACE(text);
        EXPECT_EQ(shown(uri->getURIString()), text);
        EXPECT_EQ(shown(uri->getQuery()), query);
        EXPECT_EQ(uri->getColumnCount(), c.columns.size());
        auto const again = table(text);
        EXPECT_EQ(content(*again), c.again != nullptr ? c.again : content(*uri));
        EXPECT_EQ(shown(again->getURIString()), text);
    }
}

// Whatever the text, the columns read from it are such that compose it, unless parts were skipped.
TEST_F(KqWorkTableURITest, everyTextIsReadAsWhatComposesIt) {
    char const *const pieces[] = {
        "a",    "b",         ",",         "=",    "'",         "?",         "#", "%27",     "7",
        ",c='", "=Integer'", "=Boolean'", "'1',", "#start=10", ",count=-2", "=", "=String'"};
    auto const check = [](std::string const &text) {
        auto const uri = table(text);
        ASSERT_EQ(shown(uri->getURIString()), text);
        auto const same = own(getWorkTableURIFromComponents(uri->getName()));
        KqbString name, value;
        int type = -1;
        for (int i = 0; uri->getColumn(i, &name, &value, &type); ++i) {
            ASSERT_TRUE(same->addColumn(name, value, type, nullptr)) << text;
        }
        bool const isSkipping = same->getQuery().length() < uri->getQuery().length();
        ASSERT_TRUE(isSkipping || shown(same->getQuery()) == shown(uri->getQuery())) << text;
        ASSERT_TRUE(!isSkipping || shown(uri->getQuery()).find(',') != std::string::npos) << text;
    };
    constexpr int kPieces = 4;
    std::size_t combinations = 1;
    for (int i = 0; i < kPieces; ++i) combinations *= std::size(pieces);
    for (std::size_t n = 0; n < combinations; ++n) {
        std::string text = "kqwt://T?";
        std::size_t rest = n;
        for (int i = 0; i < kPieces; ++i, rest /= std::size(pieces)) {
            text += pieces[rest % std::size(pieces)];
        }
        check(text);
        if (HasFatalFailure()) return;
    }
}

TEST_F(KqWorkTableURITest, readsBeyondWhatIsComposed) {
    char const *const cases[][2] = {
        {"kqwt://", ""},
        {"kqwt://T?id=Integer'7',n='O%27N'", "T|2:id|7|0:n|O'N"},
        {"kqwt://T?a=7", "T|0:a=7|"},
        {"kqwt://a/b%41#x&", "a/b%41#x&"},
        {"kqwt://T?,a,,b='1',", "T|0:a||0:b|1"},
        {"kqwt://T?a='1',A=Integer'2',b", "T|0:a|1|0:b|"},  // the first of a name
        {"kqwt://T?stra\xC3\x9F"
         "e,STRASSE",
         "T|0:stra\xC3\x9F"
         "e|"},
        {"kqwt://T?a='1,b='2'", "T|0:a='1||0:b|2"},
        {"kqwt://T?a=Integer'1'x,b=Integer'2", "T|0:a=Integer'1'x||0:b=Integer'2|"},
        {"kqwt://T?d=Date'1/2/3,4'", "T|0:d=Date'1/2/3||0:4'|"},
        {"kqwt://T#start=5", "T 5,-1"},
        {"kqwt://T#start=0,count=100", "T 0,100"},
        {"kqwt://T?#start=5", "T? 5,-1"},
        {"kqwt://a#start=1#start=2,count=-7", "a#start=1 2,-7"},
        {"kqwt://T#count=5", "T"},
        {"kqwt://T#start=05", "T#start=05"},
        {"kqwt://T#start=-1,count=2", "T#start=-1,count=2"},
        {"kqwt://T#start=9223372036854775808", "T#start=9223372036854775808"},
        {"kqwt://T#count=1,start=2", "T#count=1,start=2"},
        {"kqwt://T#", "T#"},
    };
    for (auto const &[text, expected] : cases) {
        auto const uri = table(text);
        EXPECT_EQ(content(*uri), expected) << text;
        EXPECT_EQ(shown(uri->getURIString()), text);
    }
}

TEST_F(KqWorkTableURITest, rangesAndNames) {
    auto const uri = own(getWorkTableURIFromComponents("T", 10, 50));
    struct {
        __int64 start, count;
        char const *fragment, *content;
    } const cases[] = {
        {10, 50, "start=10,count=50", "T 10,50"},
        {0, -1, "start=0", "T 0,-1"},
        {-1, 5, "count=5", "T"},
        {-2, -3, "start=-2,count=-3", "T"},
        {-1, -1, "", "T"},
    };
    for (auto const &c : cases) {
        KqbString error("before");
        EXPECT_TRUE(uri->setRange(c.start, c.count, &error));
        EXPECT_TRUE(error.isNull());
        auto const same = own(getWorkTableURIFromComponents("T", c.start, c.count));
        auto const again = table(shown(uri->getURIString()));
        for (KqWorkTableURI *table : {uri.get(), same.get(), again.get()}) {
            EXPECT_EQ(shown(table->getFragment()), c.fragment);
            EXPECT_EQ(content(*table), c.content);
        }
    }
    __int64 start = 9, count = 9;
    EXPECT_FALSE(uri->getRange(&start, &count));
    EXPECT_EQ(start + count, 0);
    EXPECT_FALSE(uri->getRange(nullptr, nullptr));
    uri->setName("\xC3\xA9 ?");
    EXPECT_TRUE(uri->addColumn("\xC3\xA9", "", 0, nullptr));
    EXPECT_TRUE(uri->setRange(1, 2, nullptr));
    EXPECT_EQ(components(*uri), "kqwt||\xC3\xA9 ?|\xC3\xA9|start=1,count=2");
    EXPECT_FALSE(uri->getHost().isNull());
    EXPECT_EQ(shown(uri->getURIString()), "kqwt://\xC3\xA9 ??\xC3\xA9#start=1,count=2");
    EXPECT_EQ(shown(uri->getEscapedURIString()), "kqwt://%C3%A9 ??\xC3\xA9#start=1,count=2");
    EXPECT_EQ(uri->asReposURI(), nullptr);
    EXPECT_EQ(uri->asDataURI(), nullptr);
}

TEST_F(KqWorkTableURITest, refusesColumns) {
    struct {
        Column column;
        char const *message;
    } const cases[] = {
        {{"", "x", 0}, "Base Services 1795"},
        {{"A", "x", 0}, "Base Services 1776: column, A"},
        {{"b", "maybe", 1}, "Base Services 1778: maybe, boolean"},
        {{"b", "4.5", 2}, "Base Services 1778: 4.5, integer"},
        {{"b", "9223372036854775808", 2}, "Base Services 1778: 9223372036854775808, integer"},
        {{"b", "one", 3}, "Base Services 1778: one, real"},
        {{"b", "2017-02-29", 5}, "Base Services 1778: 2017-02-29, date"},
    };
    auto const uri = built("T", {{"a", "1", 0}});
    ASSERT_EQ(kqlogInitialize(), 0);
    ASSERT_EQ(kqlogConfigure(nullptr), 0);
    for (auto const &[column, message] : cases) {
        KqbString error;
        EXPECT_FALSE(uri->addColumn(column.name, column.value, column.type, &error));
        EXPECT_EQ(shown(error), message);
        testing::internal::CaptureStderr();
        EXPECT_FALSE(uri->addColumn(column.name, column.value, column.type, nullptr));
        std::string const log = testing::internal::GetCapturedStderr();
        EXPECT_NE(log.find(message), std::string::npos) << log;
        EXPECT_NE(log.find("KQ.Base.URI.WorkTable"), std::string::npos) << log;
    }
    kqlogTerminate();
    EXPECT_EQ(shown(uri->getURIString()), "kqwt://T?a='1'");
    KqbString error("before"), name("before"), value("before");
    int type = 9;
    EXPECT_TRUE(uri->addColumn("b", "7x", KqbTypeBoolean, &error));
    EXPECT_TRUE(error.isNull());
    for (int index : {-1, 2}) {
        EXPECT_FALSE(uri->getColumn(index, &name, &value, &type));
        EXPECT_TRUE(name.isNull() && value.isNull() && type == 0);
    }
    EXPECT_TRUE(uri->getColumn(1, nullptr, nullptr, nullptr));
}

TEST_F(KqWorkTableURITest, addsQueryValuesBesideTheColumns) {
    auto const uri = built("T", {{"a", "1", 2}, {"b", "2", 0}});
    EXPECT_TRUE(uri->addQueryValue("k", "v w", nullptr));
    EXPECT_TRUE(uri->addQueryValue("k", "x", nullptr));
    EXPECT_EQ(shown(uri->getURIString()), "kqwt://T?a=Integer'1',b%3D'2'&k=v%20w&k=x");
    EXPECT_EQ(content(*uri), "T|2:a|1|0:b|2");
    EXPECT_TRUE(uri->addColumn("c", "", 0, nullptr));
    auto const again = table(shown(uri->getURIString()));
    EXPECT_EQ(shown(again->getQuery()), shown(uri->getQuery()));
}

TEST_F(KqWorkTableURITest, failsCleanlyWithoutMemory) {
    std::string const longValue(600, 'v');
    for (Column const &c :
         {Column{"r", "4", 3}, Column{"d", "2017-05-05", 5}, Column{"s", longValue.c_str(), 4}}) {
        sweep([&] {
            auto const uri = own(getWorkTableURIFromComponents(borrow("T"), 1, 2));
            if (uri == nullptr) return false;
            KqbString error("before", true);
            bool const added = uri->addColumn(borrow("first"), borrow("x"), 0, &error) &&
                               uri->addColumn(borrow(c.name), borrow(c.value), c.type, &error);
            EXPECT_EQ(error.isNull(), added);
            KqbString const query = uri->getQuery();
            EXPECT_EQ(query.length() == 0, uri->getColumnCount() == 0);
            EXPECT_EQ(query.find(",") >= 0, uri->getColumnCount() == 2);
            EXPECT_LT(error.find("1778"), 0);
            return added;
        });
    }
    sweep([&] {
        auto const uri = own(getWorkTableURIFromComponents(borrow("T"), 1, 2));
        if (uri == nullptr) return false;
        KqbString error("before", true);
        bool const changed = uri->setRange(34, 56, &error);
        EXPECT_EQ(error.isNull(), changed);
        __int64 start = 0;
        EXPECT_TRUE(uri->getRange(&start, nullptr));
        EXPECT_EQ(start, changed ? 34 : 1);
        EXPECT_EQ(uri->getFragment().compare("start=34,count=56") == 0, changed);
        return changed;
    });
}

}  // namespace
