// Work tables.
#include "uri/kqwturi_internal.h"

#include <charconv>

#include "kqb/kqbmessage.h"
#include "kqb/kqbmodules.h"
#include "platform/kqlog.h"
#include "uri/kquriresult_internal.h"

namespace {

using std::string_view;

constexpr char kSource[] = "kqwturi";
constexpr char kPrefix[] = "kqwt://";
constexpr int kErrorLevel = 5;

// Messages of the base services.
constexpr int kCannotAllocate = 29;
constexpr int kDuplicateName = 1776;
constexpr int kDoesNotConvert = 1778;
constexpr int kEmptyColumnName = 1795;

KqbString lent(char const *text) { return KqbString(text, true); }

// Tells a message to the caller or, where that one does not listen, to the log. False.
bool report(KqbString *error, int message, std::initializer_list<KqbString> arguments = {}) {
    KqbString text = kqb_get_message(KQB_BASE_SERVICES, message, kSource, arguments);
    if (text.isNull()) text = lent(kKqbOutOfMemory);
    if (error != nullptr) {
        *error = text;
    } else {
        kqlogGetLogger("KQ.Base.URI.WorkTable")
            ->write(kErrorLevel, kSource, __LINE__, text.asCstr());
    }
    return false;
}

// --- The range ------------------------------------------------------------------------------------

struct Range {
    __int64 start = -1;
    __int64 count = -1;
};

void writeNumber(KqURIText &text, __int64 number) {
    char digits[24];
    char *const end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    text.add(string_view(digits, static_cast<std::size_t>(end - digits)));
}

void writeRange(KqURIText &text, Range const &range) {
    if (range.start != -1) writeNumber(text.add("start="), range.start);
    if (range.count == -1) return;
    writeNumber(text.add(range.start != -1 ? ",count=" : "count="), range.count);
}

// Null without one.
KqbString rangeText(Range const &range) {
    KqURIText text;
    writeRange(text, range);
    return text.view().empty() ? KqbString() : text.take();
}

// Takes a word and the number behind it from the front of a text, if they stand there.
void takeNumber(string_view *text, string_view word, __int64 *number) {
    if (!text->starts_with(word)) return;
    char const *const digits = text->data() + word.size();
    char const *const end = text->data() + text->size();
    char const *const behind = std::from_chars(digits, end, *number).ptr;
    text->remove_prefix(static_cast<std::size_t>(behind - text->data()));
}

// Whether a text is that of a range, as it is written.
bool readRange(string_view text, Range *range) {
    Range found;
    string_view rest = text;
    takeNumber(&rest, "start=", &found.start);
    takeNumber(&rest, found.start != -1 ? ",count=" : "count=", &found.count);
    KqURIText written;
    writeRange(written, found);
    if (!rest.empty() || text.empty() || written.view() != text) return false;
    *range = found;
    return true;
}

// The name in front of a query. A "?" without one belongs to the name.
string_view nameOf(string_view text) {
    std::size_t const question = text.find('?');
    return question + 1 == text.size() ? text : text.substr(0, question);
}

}  // namespace

// --- The object -----------------------------------------------------------------------------------

KqWorkTableURIImpl::KqWorkTableURIImpl() {
    fields_.scheme = lent("kqwt");
    fields_.host = lent("");
}

void KqWorkTableURIImpl::parse(KqbString const &text) {
    string_view rest = KqbStringAccess::view(text).substr(string_view(kPrefix).size());
    Range range;
    std::size_t const hash = rest.rfind('#');
    if (hash != string_view::npos && readRange(rest.substr(hash + 1), &range)) {
        rest = rest.substr(0, hash);
    }
    string_view const name = nameOf(rest);
    assign(kqbStringOf(name), range.start, range.count);
    if (name.size() == rest.size()) return;
    kqbAssign(fields_.query, rest.substr(name.size() + 1));
    columns_.read(KqbStringAccess::view(fields_.query));
}

void KqWorkTableURIImpl::assign(KqbString const &name, __int64 start, __int64 count) {
    fields_.fragment = rangeText({start, count});
    fields_.path = name;
    start_ = start;
    count_ = count;
}

KqbString KqWorkTableURIImpl::getURIString() {
    return composed([this](KqURIText &text) { writeText(text); });
}

bool KqWorkTableURIImpl::addColumn(KqbString const &name, KqbString const &value, int type,
                                   KqbString *error) {
    if (kqbIsAbsent(name)) return report(error, kEmptyColumnName);
    if (columns_.contains(KqbKey(name))) {
        return report(error, kDuplicateName, {lent("column"), name});
    }
    bool converts = true;
    bool const done = kqbWithMemory([&] {
        converts = kqbIsAbsent(value) || kqbWTConverts(value, type);
        if (converts) columns_.add({name, value, type}, &fields_.query);
    });
    if (!done) return report(error, kCannotAllocate, {lent("(column descriptor)")});
    if (!converts) return report(error, kDoesNotConvert, {value, lent(kqbWTTypeWord(type))});
    if (error != nullptr) error->setNull();
    return true;
}

bool KqWorkTableURIImpl::getColumn(int index, KqbString *name, KqbString *value, int *type) {
    bool const isThere = index >= 0 && static_cast<std::size_t>(index) < columns_.size();
    KqWTColumn const none;
    KqWTColumn const &column = isThere ? columns_[static_cast<std::size_t>(index)] : none;
    kqbGive(name, column.name);
    kqbGive(value, column.value);
    if (type != nullptr) *type = column.type;
    return isThere;
}

bool KqWorkTableURIImpl::getRange(__int64 *start, __int64 *count) {
    bool const isThere = start_ >= 0;
    if (start != nullptr) *start = isThere ? start_ : 0;
    if (count != nullptr) *count = isThere ? count_ : 0;
    return isThere;
}

bool KqWorkTableURIImpl::setRange(__int64 start, __int64 count, KqbString *error) {
    if (!kqbWithMemory([&] { assign(fields_.path, start, count); })) {
        return report(error, kCannotAllocate, {lent("(URI fragment)")});
    }
    if (error != nullptr) error->setNull();
    return true;
}

void KqWorkTableURIImpl::writeRest(KqURIText &text) {
    if (!kqbIsAbsent(fields_.query)) text.add('?').add(fields_.query);
    if (!kqbIsAbsent(fields_.fragment)) text.add('#').add(fields_.fragment);
}

void KqWorkTableURIImpl::writeText(KqURIText &text) {
    writeRest(text.add(kPrefix).add(fields_.path));
}

void KqWorkTableURIImpl::writeEscaped(KqURIText &text) {
    text.add(kPrefix);
    kqbAddComponent(text, fields_.path, kKqURIMultiByteOnly);
    writeRest(text);
}

KqWorkTableURI *getWorkTableURIFromComponents(KqbString const &name, __int64 start, __int64 count) {
    return kqbMakeURI<KqWorkTableURIImpl>(
        [&](KqWorkTableURIImpl &uri) { uri.assign(name, start, count); });
}

KqWorkTableURI *getWorkTableURIFromComponents(KqbString const &name) {
    return getWorkTableURIFromComponents(name, -1, -1);
}
