#include "data/kqbdatavarresidentcursor_internal.h"

#include <new>

#include "config/kqbmemory_internal.h"
#include "core/kqbstring_internal.h"
#include "data/kqbcursor_internal.h"
#include "data/kqbdatavar_internal.h"

namespace {

std::string_view viewOf(KqbResidentRows::Cell const &cell) {
    return {cell.text->data(), cell.text->bytes};
}

}  // namespace

// Apart, and seldom: what it needs must not burden those who never call it.
[[gnu::noinline, gnu::cold]] bool KqbDatavarResidentCursorImpl::outOfMemory() {
    message_ = kqbCursorOutOfMemory();
    return false;
}

void KqbDatavarResidentCursorImpl::clear() {
    columns_.clear();
    lacksColumn_ = false;
    rows_.clear();
}

// --- Columns --------------------------------------------------------------------------------------

KqbString KqbDatavarResidentCursorImpl::getColumnName(int column) {
    return isColumn(column) ? columns_[static_cast<unsigned>(column)].name : KqbString("", true);
}

kqbType KqbDatavarResidentCursorImpl::getColumnType(int column) {
    return isColumn(column) ? columns_[static_cast<unsigned>(column)].type : KqbTypeUnknown;
}

void KqbDatavarResidentCursorImpl::addColumn(KqbString const &name, kqbType type) {
    if (kqbWithMemory([&] { columns_.push_back({name, type, {}, {}}); })) return;
    lacksColumn_ = true;
}

bool KqbDatavarResidentCursorImpl::createColumns() { return !lacksColumn_ || outOfMemory(); }

bool KqbDatavarResidentCursorImpl::copyFrom(KqbDatavarCursor *source) {
    return kqbCopyCursorFrom(source, this, &message_, [this] { clear(); });
}

// --- Reading --------------------------------------------------------------------------------------

bool KqbDatavarResidentCursorImpl::getRowCount(__int64 *rows) {
    if (rows != nullptr) *rows = rows_.count();
    return true;
}

bool KqbDatavarResidentCursorImpl::rewind() {
    rows_.rewind();
    return true;
}

void KqbDatavarResidentCursorImpl::load(KqbDatavar &holder, KqbResidentRows::Tag tag,
                                        KqbResidentRows::Cell const &cell) {
    switch (tag) {
        case KqbTypeBoolean:
            holder.assign(cell.boolean);
            break;
        case KqbTypeInteger:
            holder.assign(cell.integer);
            break;
        case KqbTypeDate:
            KqbDatavarAccess::assignDate(holder, cell.date);
            break;
        case KqbTypeReal:
            holder.assign(*cell.real);
            break;
        case KqbTypeString:
            KqbDatavarAccess::assignText(holder, viewOf(cell), cell.text->characters);
            break;
        default:
            holder = *cell.kept;
            break;
    }
    if (holder.isNull()) outOfMemory();
}

KqbDatavar KqbDatavarResidentCursorImpl::getValue(int column) {
    KqbResidentRows::Row const *const row = rows_.current();
    auto const index = static_cast<unsigned>(column);
    if (row == nullptr || index >= row->width()) return {};
    KqbResidentRows::Tag const tag = row->tags()[index];
    if (tag == KqbResidentRows::kNull) return {};
    KqbDatavar &holder = columns_[index].holder;
    load(holder, tag, row->cells()[index]);
    return holder;
}

KqbString KqbDatavarResidentCursorImpl::getText(int column) {
    KqbResidentRows::Row const *const row = rows_.current();
    auto const index = static_cast<unsigned>(column);
    if (row == nullptr || index >= row->width()) return {};
    if (row->tags()[index] != KqbTypeString) return {};
    KqbString &holder = columns_[index].textHolder;
    if (!KqbStringAccess::assign(holder, viewOf(row->cells()[index]))) outOfMemory();
    return holder;
}

// --- Writing --------------------------------------------------------------------------------------

bool KqbDatavarResidentCursorImpl::beginRow() {
    return (rows_.end() && rows_.begin(width())) || outOfMemory();
}

void KqbDatavarResidentCursorImpl::setValue(int column, KqbDatavar const &value) {
    rows_.set(static_cast<unsigned>(column), width(), value);
}

void KqbDatavarResidentCursorImpl::setText(int column, KqbString const &text) {
    auto const index = static_cast<unsigned>(column);
    if (text.isNull()) {
        rows_.setNull(index, width());
    } else {
        rows_.setText(index, width(), text.asCstr(), text.cStrSize() - 1, text.length());
    }
}

bool KqbDatavarResidentCursorImpl::endRow() { return rows_.end() || outOfMemory(); }

KqbDatavarCursorCreater *createDatavarResidentCursor() {
    return new (std::nothrow) KqbDatavarResidentCursorImpl;
}
