// Work tables: every text is given back and read as what composes it, and what is composed reads
// back equal as far as the text can tell.
#include <memory>
#include <string_view>
#include <vector>

#include "fuzz/fuzz_support.h"
#include "kqb/kqworktableuri.h"

namespace {

struct Release {
    void operator()(KqURI *uri) const { uri->release(); }
};
using Owner = std::unique_ptr<KqWorkTableURI, Release>;

struct Column {
    std::string name, value;
    int type;
    bool operator==(Column const &) const = default;
};

std::vector<Column> columnsOf(KqWorkTableURI &uri) {
    std::vector<Column> columns;
    KqbString name, value;
    int type = -1;
    for (int i = 0; uri.getColumn(i, &name, &value, &type); ++i) {
        columns.push_back({name.asCstr(), value.asCstr(), type});
    }
    fuzzCheck(columns.size() == uri.getColumnCount(), "count");
    return columns;
}

Owner parsed(std::string const &text) {
    Owner uri(dynamic_cast<KqWorkTableURI *>(getURIFromURIString(KqbString(text.c_str()))));
    fuzzCheck(uri != nullptr, "every text is a work table");
    fuzzCheck(uri->getURIString().asCstr() == text, "the text given");
    return uri;
}

bool add(KqWorkTableURI &uri, Column const &column) {
    KqbString error;
    bool const added =
        uri.addColumn(column.name.c_str(), column.value.c_str(), column.type, &error);
    fuzzCheck(added == error.isNull(), "an error for every refusal");
    return added;
}

void checkText(std::string const &text) {
    Owner const uri = parsed(text);
    Owner const same(getWorkTableURIFromComponents(uri->getName()));
    for (Column const &column : columnsOf(*uri)) fuzzCheck(add(*same, column), "a column");
    std::string const query = uri->getQuery().asCstr();
    std::string const again = same->getQuery().asCstr();
    bool const maySkip = query.find(',') != std::string::npos && again.size() < query.size();
    fuzzCheck(again == query || maySkip, "the columns compose the query");
    KqbString error;
    fuzzCheck(uri->addQueryValue("key", "a value", &error), "add");
    parsed(uri->getURIString().asCstr());
}

bool holds(std::string const &text, std::string_view any) {
    return text.find_first_of(any) != std::string::npos;
}

// Whether the text tells all of a column, by rules that leave no doubt; others may do as well.
bool isTold(Column const &column) {
    bool const isNamed = column.type >= 1 && column.type <= 5;
    bool const isText = column.type == 4 || !isNamed;
    if (holds(column.name, ",=#") || (isNamed && column.value.empty())) return false;
    return !holds(column.value, isText ? "%" : "'");
}

// Composes what the bytes say: a type, then name and value, each up to a NUL.
void checkColumns(std::string_view bytes) {
    Owner const uri(getWorkTableURIFromComponents("a table", 5, 7));
    auto const take = [&bytes] {
        std::string_view const taken = bytes.substr(0, bytes.find('\0'));
        bytes.remove_prefix(std::min(taken.size() + 1, bytes.size()));
        return std::string(taken);
    };
    bool areTold = true;
    while (!bytes.empty()) {
        int const type = static_cast<unsigned char>(bytes.front()) % 8;
        bytes.remove_prefix(1);
        std::string const name = take();
        Column const column{name, take(), type == 6 || type == 7 ? 0 : type};
        if (add(*uri, column)) areTold = areTold && isTold(column);
    }
    Owner const again = parsed(uri->getURIString().asCstr());
    __int64 start = 0, count = 0;
    fuzzCheck(again->getRange(&start, &count) && start == 5 && count == 7, "range");
    fuzzCheck(again->getName().compare("a table") == 0, "name");
    fuzzCheck(!areTold || columnsOf(*again) == columnsOf(*uri), "columns again");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const *data, std::size_t size) {
    fuzzBringUp();
    std::string const bytes = fuzzText(data, size);
    checkText("kqwt://" + std::string(bytes.c_str()));
    checkColumns(bytes);
    return 0;
}
