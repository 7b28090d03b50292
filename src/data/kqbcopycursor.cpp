// copyCursor: from any cursor into any creater of the same kind of values.
#include "data/kqbcursor_internal.h"
#include "kqb/kqbdatavarcursor.h"
#include "kqb/kqbmessage.h"
#include "kqb/kqbstringcursor.h"

namespace {

constexpr int kOutOfMemory = 444;

void tell(KqbString *error, KqbString const &text) {
    if (error != nullptr) *error = text;
}

void copyColumn(KqbDatavarCursor *source, KqbDatavarCursorCreater *target, int column) {
    target->addColumn(source->getColumnName(column), source->getColumnType(column));
}

void copyColumn(KqbStringCursor *source, KqbStringCursorCreater *target, int column) {
    target->addColumn(source->getColumnName(column));
}

template <class Source, class Target>
bool copyRow(Source *source, Target *target) {
    if (!target->beginRow()) return false;
    int const count = source->getColumnCount();
    for (int i = 0; i < count; ++i) target->setValue(i, source->getValue(i));
    return target->endRow();
}

template <class Source, class Target>
bool copyRows(Source *source, Target *target, KqbString *error) {
    int state;
    while ((state = source->next()) == KqbCursorRow) {
        if (!copyRow(source, target)) return false;
    }
    if (!target->finish()) return false;
    // As far as the result goes a source that fails has ended, but whoever listens is told.
    if (state != KqbCursorEnd) tell(error, source->getErrorMessage());
    return true;
}

template <class Source, class Target>
bool copyAll(Source *source, Target *target, KqbString *error) {
    if (!kqbCanCopyCursor(source, static_cast<Source *>(target), error)) return false;
    tell(error, KqbString());
    source->rewind();
    for (int i = 0; i < source->getColumnCount(); ++i) copyColumn(source, target, i);
    if (target->createColumns() && copyRows(source, target, error)) return true;
    tell(error, target->getErrorMessage());
    return false;
}

}  // namespace

KqbString kqbCursorOutOfMemory() {
    return kqb_get_message(KQB_BASE_SERVICES, kOutOfMemory, "kqbcursor");
}

bool kqbCanCopyCursor(void const *source, void const *target, KqbString *error) {
    if (source == nullptr || target == nullptr) {
        tell(error, KqbString("There is no cursor to copy", true));
        return false;
    }
    if (source != target) return true;
    tell(error, KqbString("A cursor cannot be copied into itself", true));
    return false;
}

bool copyCursor(KqbDatavarCursor *source, KqbDatavarCursorCreater *target, KqbString *error) {
    return copyAll(source, target, error);
}

bool copyCursor(KqbStringCursor *source, KqbStringCursorCreater *target, KqbString *error) {
    return copyAll(source, target, error);
}
