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
    holders_.clear();
    rows_.clear();
}

// --- Columns --------------------------------------------------------------------------------------

bool KqbDatavarResidentCursorImpl::createColumns() {
    return columns_.areComplete() || outOfMemory();
}

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

// Null when memory ran out.
KqbCursorHolder *KqbDatavarResidentCursorImpl::holderOf(unsigned column) {
    if (column >= holders_.size() &&
        !kqbWithMemory([this] { holders_.resize(columns_.count()); })) {
        outOfMemory();
        return nullptr;
    }
    return &holders_[column];
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
    KqbCursorHolder *const holder = holderOf(index);
    if (holder == nullptr) return {};
    load(holder->value, tag, row->cells()[index]);
    return holder->value;
}

KqbString KqbDatavarResidentCursorImpl::getText(int column) {
    KqbResidentRows::Row const *const row = rows_.current();
    auto const index = static_cast<unsigned>(column);
    if (row == nullptr || index >= row->width()) return {};
    if (row->tags()[index] != KqbTypeString) return {};
    KqbCursorHolder *const holder = holderOf(index);
    if (holder == nullptr) return {};
    if (!KqbStringAccess::assign(holder->text, viewOf(row->cells()[index]))) outOfMemory();
    return holder->text;
}

// --- Writing --------------------------------------------------------------------------------------

bool KqbDatavarResidentCursorImpl::beginRow() {
    return (rows_.end() && rows_.begin(columns_.count())) || outOfMemory();
}

void KqbDatavarResidentCursorImpl::setValue(int column, KqbDatavar const &value) {
    rows_.set(static_cast<unsigned>(column), columns_.count(), value);
}

void KqbDatavarResidentCursorImpl::setText(int column, KqbString const &text) {
    auto const index = static_cast<unsigned>(column);
    if (text.isNull()) {
        rows_.setNull(index, columns_.count());
    } else {
        rows_.setText(index, columns_.count(), text.asCstr(), text.cStrSize() - 1, text.length());
    }
}

bool KqbDatavarResidentCursorImpl::endRow() { return rows_.end() || outOfMemory(); }

KqbDatavarCursorCreater *createDatavarResidentCursor() {
    return new (std::nothrow) KqbDatavarResidentCursorImpl;
}
