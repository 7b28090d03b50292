#include "data/kqbresidentrows_internal.h"

#include <cstring>
#include <new>
#include <utility>

#include "data/kqbdatavar_internal.h"

static_assert(alignof(KqbReal) <= 8 && alignof(KqbDatavar) <= 8);

void KqbResidentRows::clear() {
    for (; kept_ != nullptr; kept_ = kept_->next) kept_->value.~KqbDatavar();
    arena_.clear();
    first_ = last_ = open_ = nullptr;
    isSpoilt_ = false;
    count_ = 0;
    rewind();
}

// --- Rows -----------------------------------------------------------------------------------------

KqbResidentRows::Row *KqbResidentRows::newRow(unsigned width) {
    void *const memory = arena_.allocate(Row::size(width));
    if (memory == nullptr) return nullptr;
    auto *const row = new (memory) Row(width);
    std::memset(row->tags(), kNull, Row::paddedTags(width));
    return row;
}

void KqbResidentRows::append(Row *row) {
    if (place_ == count_) read_ = row;
    (last_ != nullptr ? last_->next : first_) = row;
    last_ = row;
    ++count_;
}

bool KqbResidentRows::begin(unsigned width) {
    Row *const row = newRow(width);
    if (row == nullptr) return false;
    open_ = row;
    return true;
}

bool KqbResidentRows::end() {
    bool const isSound = !isSpoilt_;
    if (open_ != nullptr && isSound) append(open_);
    open_ = nullptr;
    isSpoilt_ = false;
    return isSound;
}

bool KqbResidentRows::next() {
    if (place_ >= count_) return false;
    read_ = place_ < 0 ? first_ : read_->next;
    ++place_;
    return place_ < count_;
}

void KqbResidentRows::rewind() {
    place_ = -1;
    read_ = nullptr;
}

// --- Values ---------------------------------------------------------------------------------------

bool KqbResidentRows::widen(unsigned width) {
    Row *const row = newRow(width);
    if (row == nullptr) return false;
    std::memcpy(row->tags(), open_->tags(), open_->width());
    std::memcpy(row->cells(), open_->cells(), open_->width() * sizeof(Cell));
    open_ = row;
    return true;
}

void KqbResidentRows::spoil(unsigned column) {
    open_->tags()[column] = kNull;
    isSpoilt_ = true;
}

// Whether the open row has the column, of all `width` there are.
bool KqbResidentRows::reach(unsigned column, unsigned width) {
    if (open_ == nullptr || column >= width) return false;
    if (column < open_->width() || widen(width)) return true;
    isSpoilt_ = true;
    return false;
}

void KqbResidentRows::set(unsigned column, unsigned width, KqbDatavar const &value) {
    if (!reach(column, width)) return;
    if (!store(open_->tags()[column], open_->cells()[column], value)) spoil(column);
}

void KqbResidentRows::setText(unsigned column, unsigned width, char const *text, unsigned bytes,
                              unsigned characters) {
    if (!reach(column, width)) return;
    Tag const old = std::exchange(open_->tags()[column], Tag{KqbTypeString});
    if (!storeText(old, open_->cells()[column], text, bytes, characters)) spoil(column);
}

void KqbResidentRows::setNull(unsigned column, unsigned width) {
    if (reach(column, width)) open_->tags()[column] = kNull;
}

bool KqbResidentRows::store(Tag &tag, Cell &cell, KqbDatavar const &value) {
    Tag const old = std::exchange(tag, static_cast<Tag>(value.type()));
    switch (value.type()) {
        case KqbTypeBoolean:
            cell.boolean = value.asBool();
            return true;
        case KqbTypeInteger:
            cell.integer = value.asInt64();
            return true;
        case KqbTypeDate:
            cell.date = KqbDatavarAccess::date(value);
            return true;
        case KqbTypeReal:
            if (KqbReal const &real = KqbDatavarAccess::real(value); !real.isNull()) {
                return storeReal(old, cell, real);
            }
            break;
        case KqbTypeString: {
            std::string_view const text = KqbDatavarAccess::text(value);
            return storeText(old, cell, text.data(), static_cast<unsigned>(text.size()),
                             static_cast<unsigned>(value.length()));
        }
        default:
            if (value.isNull()) return true;
    }
    tag = kKept;
    return storeKept(cell, value);
}

bool KqbResidentRows::storeReal(Tag tag, Cell &cell, KqbReal const &value) {
    if (tag != KqbTypeReal) {
        void *const memory = arena_.allocate(sizeof(KqbReal));
        if (memory == nullptr) return false;
        cell.real = new (memory) KqbReal;
    }
    *cell.real = value;
    return true;
}

// A text set anew takes the place of the old one where it fits, so that a value which is set over
// and over does not eat up memory.
bool KqbResidentRows::storeText(Tag tag, Cell &cell, char const *text, unsigned bytes,
                                unsigned characters) {
    if (tag != KqbTypeString || cell.text->bytes < bytes) {
        void *const memory = arena_.allocate(sizeof(Text) + bytes);
        if (memory == nullptr) return false;
        cell.text = new (memory) Text;
    }
    cell.text->bytes = bytes;
    cell.text->characters = characters;
    if (bytes > 0) std::memcpy(cell.text->data(), text, bytes);
    return true;
}

bool KqbResidentRows::storeKept(Cell &cell, KqbDatavar const &value) {
    void *const memory = arena_.allocate(sizeof(Kept));
    if (memory == nullptr) return false;
    kept_ = new (memory) Kept{value, kept_};
    cell.kept = &kept_->value;
    return true;
}
