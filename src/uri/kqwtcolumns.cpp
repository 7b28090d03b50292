// The columns of work tables. Reading is the inverse of writing: whatever is no value in the form
// that is written belongs to a name, so every text is the text of some columns.
#include "uri/kqwtcolumns_internal.h"

#include <algorithm>
#include <utility>

#include "kqb/kqbdatavar.h"
#include "uri/kquriparts_internal.h"
#include "uri/kquriscan_internal.h"
#include "uri/kquritext_internal.h"

namespace {

using std::string_view;
constexpr std::size_t kNone = string_view::npos;
constexpr char kQuote = '\'';
constexpr string_view kQuoteEscape = "%27";
constexpr string_view kCommaEscape = "%2C";

// The types whose names are written.
constexpr kqbType kNamedTypes[] = {KqbTypeBoolean, KqbTypeInteger, KqbTypeReal, KqbTypeString,
                                   KqbTypeDate};

string_view nameOf(int type) {
    bool const isNamed =
        std::find(std::begin(kNamedTypes), std::end(kNamedTypes), type) != std::end(kNamedTypes);
    return isNamed ? kqbTypeToString(static_cast<kqbType>(type)) : "";
}

// The type of a name in exactly that form, "" giving Unknown; -1 for any other.
int typeOf(string_view name) {
    if (name.empty()) return KqbTypeUnknown;
    for (kqbType const type : kNamedTypes) {
        if (name == kqbTypeToString(type)) return type;
    }
    return -1;
}

// --- Writing --------------------------------------------------------------------------------------

void writeEscaped(KqURIText &text, string_view value) {
    for (std::size_t at = 0;;) {
        std::size_t const found = value.find_first_of("',", at);
        text.add(value.substr(at, found - at));
        if (found == kNone) return;
        text.add(value[found] == kQuote ? kQuoteEscape : kCommaEscape);
        at = found + 1;
    }
}

void writeColumn(KqURIText &text, KqWTColumn const &column) {
    text.add(column.name);
    if (kqbIsAbsent(column.value)) return;
    text.add('=').add(nameOf(column.type)).add(kQuote);
    if (kqbWTTypeWord(column.type) != nullptr) {
        text.add(column.value);
    } else {
        writeEscaped(text, KqbStringAccess::view(column.value));
    }
    text.add(kQuote);
}

// --- Reading --------------------------------------------------------------------------------------

KqbString unescaped(string_view value) {
    if (value.find('%') == kNone) return kqbStringOf(value);
    KqURIText text;
    for (std::size_t at = 0; at < value.size();) {
        string_view const escape = value.substr(at, kQuoteEscape.size());
        if (escape == kQuoteEscape || escape == kCommaEscape) {
            text.add(escape == kQuoteEscape ? kQuote : ',');
            at += escape.size();
        } else {
            text.add(value[at++]);
        }
    }
    return text.take();
}

// Takes the columns out of a query one by one, in one pass over it. Throws std::bad_alloc.
class ColumnReader {
public:
    explicit ColumnReader(string_view query)
        : query_(query), comma_(query, ','), equals_(query, '='), quote_(query, kQuote),
          pastClosing_(query.ends_with(kQuote) ? query.size() : query.rfind("',") + 1) {}

    // The next column; false when there is none.
    bool next(KqWTColumn *column) {
        while (at_ < query_.size() && query_[at_] == ',') ++at_;
        if (at_ == query_.size()) return false;
        std::size_t const begin = at_;
        std::size_t const comma = std::min(comma_.from(begin), query_.size());
        std::size_t sign = equals_.from(begin + 1);
        while (sign < comma && !readValue(sign + 1, comma, column)) sign = equals_.from(sign + 1);
        if (sign >= comma) {
            *column = KqWTColumn();
            sign = at_ = comma;
        }
        column->name = kqbStringOf(query_.substr(begin, sign - begin));
        return true;
    }

private:
    // Reads what stands behind a "=" and goes behind it, if it is a value. comma is the first one
    // behind the "=".
    bool readValue(std::size_t at, std::size_t comma, KqWTColumn *column) {
        std::size_t const open = std::min(quote_.from(at), query_.size());
        int const type = typeOf(query_.substr(at, open - at));
        if (open == query_.size() || type == -1) return false;
        std::size_t const begin = open + 1;
        std::size_t const end = closingOf(type, begin);
        if (end == kNone || end == begin) return false;
        string_view const value = query_.substr(begin, end - begin);
        if (kqbWTTypeWord(type) == nullptr) {
            if (comma < end) return false;
            column->value = unescaped(value);
        } else {
            column->value = kqbStringOf(value);
            if (!kqbWTConverts(column->value, type)) return false;
        }
        column->type = type;
        at_ = end + 1;
        return true;
    }

    bool isClosing(std::size_t quote) const {
        return quote + 1 == query_.size() || query_[quote + 1] == ',';
    }

    // Where a value ends. Of those that hold no escapes only a truth value that begins with a digit
    // may have a "'" in it.
    std::size_t closingOf(int type, std::size_t begin) {
        std::size_t quote = quote_.from(begin);
        if (quote == kNone || isClosing(quote)) return quote;
        bool const mayHoldQuotes =
            type == KqbTypeBoolean && query_[begin] >= '0' && query_[begin] <= '9';
        if (!mayHoldQuotes || begin >= pastClosing_) return kNone;
        while (!isClosing(quote)) quote = quote_.from(quote + 1);
        return quote;
    }

    string_view query_;
    NextPlace comma_;
    NextPlace equals_;
    NextPlace quote_;
    std::size_t pastClosing_;  // behind the last "'" that may end a value; 0 without one
    std::size_t at_ = 0;
};

}  // namespace

char const *kqbWTTypeWord(int type) {
    switch (type) {
        case KqbTypeBoolean:
            return "boolean";
        case KqbTypeInteger:
            return "integer";
        case KqbTypeReal:
            return "real";
        case KqbTypeDate:
            return "date";
        default:
            return nullptr;
    }
}

bool kqbWTConverts(KqbString const &value, int type) {
    if (kqbWTTypeWord(type) == nullptr) return true;
    unsigned const failures = kqbMemoryFailures();
    KqbDatavar variant;
    variant.assign(value);
    bool error = false;
    switch (type) {
        case KqbTypeBoolean:
            variant.asBool(&error);
            break;
        case KqbTypeInteger:
            variant.asInt64(&error);
            break;
        case KqbTypeReal:
            variant.asReal(&error);
            break;
        case KqbTypeDate:
            error = variant.asDate().isNull();
            break;
        default:
            break;
    }
    // A value that could not be had for want of memory must not pass for one that is none.
    if (variant.isNull() || (error && kqbMemoryFailures() != failures)) throw std::bad_alloc();
    return !error;
}

bool KqWTColumns::contains(KqbKey const &key) const {
    auto const nameAt = [this](std::uint32_t at) { return kqbTextOf(columns_[at].name); };
    return index_.find(key, nameAt) != KqbKeyIndex::kNone;
}

void KqWTColumns::append(KqbKey const &key, KqWTColumn &&column) {
    index_.reserve(1);
    columns_.push_back(std::move(column));
    index_.insert(key.hash(), static_cast<std::uint32_t>(columns_.size() - 1));
}

void KqWTColumns::add(KqWTColumn column, KqbString *query) {
    KqbKey const key(column.name);
    KqURIText text;
    if (!kqbIsAbsent(*query)) text.add(',');
    writeColumn(text, column);
    string_view const descriptor = text.view();
    append(key, std::move(column));
    if (KqbStringAccess::append(*query, descriptor)) return;
    index_.erase(key.hash(), static_cast<std::uint32_t>(columns_.size() - 1));
    columns_.pop_back();
    throw std::bad_alloc();
}

void KqWTColumns::read(string_view query) {
    ColumnReader reader(query);
    for (KqWTColumn column; reader.next(&column);) {
        KqbKey const key(column.name);
        if (!contains(key)) append(key, std::move(column));
    }
}
