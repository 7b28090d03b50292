// The cursors over row sets.
#include <cstring>
#include <new>

#include "config/kqbmemory_internal.h"
#include "core/kqbreal_internal.h"
#include "core/kqbstring_internal.h"
#include "data/kqbcursorwlp_internal.h"
#include "data/kqbdatavar_internal.h"
#include "data/kqbstringcursorover_internal.h"
#include "kqb/kqbconfigoptions.h"
#include "kqb/kqbhost.h"
#include "kqb/kqbstringformat.h"
#include "kqb/kqbstringwlpcursor.h"

namespace {

constexpr char kUnsupported[] = "Data type not supported";
constexpr int kCreateRowSet = 1;

// The type of a record that no column has: the row set refuses it.
constexpr unsigned char kNoType = 0;

unsigned char rowSetType(kqbType type) {
    switch (type) {
        case KqbTypeBoolean:
            return KQWLP_BOOLEAN;
        case KqbTypeInteger:
            return KQWLP_INTEGER;
        case KqbTypeReal:
            return KQWLP_REAL;
        case KqbTypeString:
            return KQWLP_TEXT;
        case KqbTypeDate:
            return KQWLP_DATE;
        default:
            return KQWLP_UNSUPPORTED;
    }
}

KqbString option(char const *key) {
    KqbString value;
    KqbConfigOptions *const options = kqbGetConfigOptions("");
    if (options != nullptr) options->getOption(KqbString(key, true), &value, true);
    return value;
}

// How much is kept in memory, and where the rest goes.
int applyOptions(kqwlpRowSet *set) {
    bool error = false;
    long long const bytes = option("BASE/CURSOR/MEMORY").asInt64(&error);
    KqbString const directory = option("BASE/TEMP");
    return kqwlpRowSet_setMemory(set, error || bytes < 0 ? KQWLP_DEFAULT_MEMORY : bytes,
                                 directory.cStrSize() > 1 ? directory.asCstr() : nullptr);
}

// --- Variants to records --------------------------------------------------------------------------

void refer(kqwlpColumnValue &record, void const *bytes, std::size_t size) {
    record.bytes = bytes;
    record.size = size;
}

// A real that holds null is none.
bool fillReal(kqwlpColumnValue &record, KqbDatavar const &value, unsigned char *words) {
    bool error = false;
    KqbReal const converted =
        value.type() != KqbTypeReal ? value.asReal(&error) : KqbDatavarAccess::real(value);
    record.absent = converted.isNull();
    std::memcpy(words, &KqbRealAccess::decimal(converted), KQWLP_REAL_SIZE);
    refer(record, words, KQWLP_REAL_SIZE);
    return !error;
}

bool fillText(kqwlpColumnValue &record, KqbDatavar const &value, KqbDatavar &held) {
    if (value.type() == KqbTypeString) {
        held = value;
    } else {
        held.assign(value.asString());
        if (held.isNull()) return false;
    }
    std::string_view const text = KqbDatavarAccess::text(held);
    refer(record, text.data(), text.size());
    return true;
}

bool fillDate(kqwlpColumnValue &record, KqbDatavar const &value) {
    if (value.type() == KqbTypeDate) {
        record.date = KqbDatavarAccess::date(value);
        return true;
    }
    KqbDate const date = value.asDate();
    record.date = date.asDouble();
    return !date.isNull();
}

}  // namespace

// --- Life -----------------------------------------------------------------------------------------

KqbDatavarWlpCursorImpl::KqbDatavarWlpCursorImpl() {
    if (kqwlp_initialize() == KQWLP_OK) return;
    kqbAssertFailure("row-set library", "kqbcursorwlp_impl", __LINE__);
}

KqbDatavarWlpCursorImpl::~KqbDatavarWlpCursorImpl() { kqwlpRowSet_destroy(set_); }

void KqbDatavarWlpCursorImpl::dropSet() {
    kqwlpRowSet_destroy(set_);
    set_ = nullptr;
    row_ = nullptr;
    rewound_ = isRowStale_ = isRowOpen_ = false;
    records_.clear();
    held_.clear();
    holders_.clear();
    valueCount_ = 0;
}

void KqbDatavarWlpCursorImpl::clear() {
    dropSet();
    columns_.clear();
}

void KqbDatavarWlpCursorImpl::setRowSet(kqwlpRowSet *set) {
    if (set == set_) set_ = nullptr;  // it stays
    clear();
    if (adopt(set)) return;
    set_ = set;
    outOfMemory();
}

// Holds a set and makes the holders for its values.
bool KqbDatavarWlpCursorImpl::adopt(kqwlpRowSet *set) {
    auto const count = static_cast<std::size_t>(kqwlpRowSet_getColumns(set));
    if (!kqbWithMemory([&] { holders_.resize(count); })) return false;
    valueCount_ = static_cast<unsigned>(count);
    set_ = set;
    return true;
}

// Apart, and seldom: what it needs must not burden those who never call it.
[[gnu::noinline, gnu::cold]] bool KqbDatavarWlpCursorImpl::outOfMemory() {
    message_ = kqbCursorOutOfMemory();
    return false;
}

[[gnu::noinline, gnu::cold]] bool KqbDatavarWlpCursorImpl::failRowset(int code) {
    message_ = kqbStringFormat("Rowset error code: %d", code);
    return false;
}

// --- Columns --------------------------------------------------------------------------------------

bool KqbDatavarWlpCursorImpl::createColumns() {
    dropSet();
    if (!columns_.areComplete()) return failRowset(KQWLP_MEMORY);
    if (columns_.count() == 0) {
        message_ = KqbString("Cannot create zero columns", true);
        return false;
    }
    std::string codes;
    bool const hasMemory = kqbWithMemory([&] {
        for (int i = 0; i < getColumnCount(); ++i) {
            codes += static_cast<char>(rowSetType(columns_.type(i)));
            if (codes.back() == KQWLP_UNSUPPORTED) message_ = KqbString(kUnsupported, true);
        }
    });
    if (!hasMemory) return failRowset(KQWLP_MEMORY);
    kqwlpRowSet *set = nullptr;
    int code = kqwlpRowSet_create(&set, kCreateRowSet, codes.c_str());
    if (code == KQWLP_OK) code = applyOptions(set);
    if (code == KQWLP_OK && !adopt(set)) code = KQWLP_MEMORY;
    if (code == KQWLP_OK) return true;
    kqwlpRowSet_destroy(set);
    return failRowset(code);
}

bool KqbDatavarWlpCursorImpl::copyFrom(KqbDatavarCursor *source) {
    return kqbCopyCursorFrom(source, this, &message_, [this] { clear(); });
}

// --- Writing --------------------------------------------------------------------------------------

// Columns may have come since the records were made.
bool KqbDatavarWlpCursorImpl::prepareRecords() {
    if (records_.size() == columns_.count()) return true;
    return kqbWithMemory([this] {
        held_.resize(columns_.count());
        records_.resize(columns_.count());
    });
}

bool KqbDatavarWlpCursorImpl::beginRow() {
    isRowOpen_ = prepareRecords();
    if (!isRowOpen_) return outOfMemory();
    for (unsigned i = 0; i < columns_.count(); ++i) {
        kqwlpColumnValue &record = records_[i];
        record.type = rowSetType(columns_.type(static_cast<int>(i)));
        record.absent = 1;
        if (record.type == KQWLP_UNSUPPORTED) message_ = KqbString(kUnsupported, true);
        if (record.type != KQWLP_TEXT) continue;
        held_[i].value.setNull();
        held_[i].text.setNull();
    }
    return true;
}

bool KqbDatavarWlpCursorImpl::isWritable(int column) const {
    return isRowOpen_ && static_cast<unsigned>(column) < records_.size();
}

void KqbDatavarWlpCursorImpl::setValue(int column, KqbDatavar const &value) {
    if (!isWritable(column)) return;
    auto const index = static_cast<unsigned>(column);
    kqwlpColumnValue &record = records_[index];
    record.absent = value.isNull();
    if (value.isNull()) return;
    record.type = rowSetType(columns_.type(column));
    bool error = false;
    switch (record.type) {
        case KQWLP_BOOLEAN:
            record.boolean = value.asBool(&error);
            break;
        case KQWLP_INTEGER:
            record.integer = value.asInt64(&error);
            break;
        case KQWLP_DATE:
            error = !fillDate(record, value);
            break;
        case KQWLP_REAL:
            error = !fillReal(record, value, held_[index].real);
            break;
        case KQWLP_TEXT:
            error = !fillText(record, value, held_[index].value);
            break;
        default:
            break;
    }
    if (!error) return;
    record.type = kNoType;
    record.absent = 0;
}

void KqbDatavarWlpCursorImpl::setText(int column, KqbString const &text) {
    if (!isWritable(column)) return;
    auto const index = static_cast<unsigned>(column);
    kqwlpColumnValue &record = records_[index];
    record.absent = text.isNull();
    KqbString &held = held_[index].text;
    held = text;
    refer(record, held.asCstr(), held.cStrSize() - 1);
}

bool KqbDatavarWlpCursorImpl::endRow() {
    auto const columns = static_cast<std::size_t>(kqwlpRowSet_getColumns(set_));
    bool const fits = isRowOpen_ && records_.size() == columns && columns_.count() == columns;
    if (!fits || kqwlpRowSet_addRow(set_, records_.data()) != KQWLP_OK) {
        message_ = KqbString("Failed to add input row", true);
        return false;
    }
    isRowOpen_ = false;
    isRowStale_ = true;
    return true;
}

// --- Reading --------------------------------------------------------------------------------------

bool KqbDatavarWlpCursorImpl::rewind() {
    rewound_ = true;
    return true;
}

int KqbDatavarWlpCursorImpl::next() {
    row_ = nullptr;
    isRowStale_ = false;
    if (set_ == nullptr) {
        message_ = KqbString("Rowset missing", true);
        return KqbCursorFailure;
    }
    int const code =
        rewound_ ? kqwlpRowSet_seekRow(set_, 0, &row_) : kqwlpRowSet_nextRow(set_, &row_);
    rewound_ = false;
    if (code == KQWLP_OK) return KqbCursorRow;
    if (code == KQWLP_END) return KqbCursorEnd;
    failRowset(code);
    return KqbCursorFailure;
}

bool KqbDatavarWlpCursorImpl::getRowCount(__int64 *rows) {
    if (rows != nullptr) *rows = kqwlpRowSet_getRows(set_);
    return true;
}

// The value of a column in the current row, which is where it was also when rows were added since.
kqwlpColumnValue const *KqbDatavarWlpCursorImpl::valueAt(int column) {
    if (row_ == nullptr || static_cast<unsigned>(column) >= valueCount_) return nullptr;
    if (isRowStale_) {
        int const code = kqwlpRowSet_currentRow(set_, &row_);
        if (code != KQWLP_OK) {
            failRowset(code);
            return nullptr;
        }
        isRowStale_ = false;
    }
    kqwlpColumnValue const *const value = row_ + column;
    return value->absent == 0 ? value : nullptr;
}

KqbDatavar KqbDatavarWlpCursorImpl::getValue(int column) {
    kqwlpColumnValue const *const value = valueAt(column);
    if (value == nullptr) return {};
    KqbDatavar &holder = holders_[static_cast<unsigned>(column)].value;
    switch (value->type) {
        case KQWLP_BOOLEAN:
            holder.assign(value->boolean);
            break;
        case KQWLP_INTEGER:
            holder.assign(value->integer);
            break;
        case KQWLP_DATE:
            KqbDatavarAccess::assignDate(holder, value->date);
            break;
        case KQWLP_REAL:
            KqbDatavarAccess::assignReal(holder, value->bytes);
            break;
        default: {
            auto const *const text = static_cast<char const *>(value->bytes);
            KqbDatavarAccess::assignText(holder, {text, value->size});
        }
    }
    if (holder.isNull()) outOfMemory();
    return holder;
}

KqbString KqbDatavarWlpCursorImpl::getText(int column) {
    kqwlpColumnValue const *const value = valueAt(column);
    if (value == nullptr) return {};
    if (value->type != KQWLP_TEXT) return getValue(column).asString();
    KqbString &holder = holders_[static_cast<unsigned>(column)].text;
    std::string_view const text(static_cast<char const *>(value->bytes), value->size);
    if (!KqbStringAccess::assign(holder, text)) outOfMemory();
    return holder;
}

// --- Making ---------------------------------------------------------------------------------------

using KqbStringWlpCursorImpl = KqbStringCursorOver<KqbStringWlpCursor, KqbDatavarWlpCursorImpl>;

KqbDatavarWlpCursor *createDatavarWlpCursor() { return new (std::nothrow) KqbDatavarWlpCursorImpl; }

KqbStringWlpCursor *createStringWlpCursor() { return new (std::nothrow) KqbStringWlpCursorImpl; }
