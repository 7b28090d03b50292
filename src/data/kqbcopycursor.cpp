// copyCursor: from any cursor into any creater of the same kind of values.
#include "core/kqbmemoryfailures_internal.h"
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

bool fail(KqbString *error, KqbString const &text) {
    tell(error, text);
    return false;
}

// False when there was no memory for a value: it came as null then, and must not pass for one.
template <class Source, class Target>
bool copyValues(Source *source, Target *target) {
    unsigned const failures = kqbMemoryFailures();
    int const count = source->getColumnCount();
    for (int i = 0; i < count; ++i) {
        auto const value = source->getValue(i);
        if (value.isNull() && kqbMemoryFailures() != failures) return false;
        target->setValue(i, value);
    }
    return true;
}

template <class Source, class Target>
bool copyRow(Source *source, Target *target, KqbString *error) {
    if (target->beginRow()) {
        if (!copyValues(source, target)) return fail(error, kqbCursorOutOfMemory());
        if (target->endRow()) return true;
    }
    return fail(error, target->getErrorMessage());
}

template <class Source, class Target>
bool copyRows(Source *source, Target *target, KqbString *error) {
    int state;
    while ((state = source->next()) == KqbCursorRow) {
        if (!copyRow(source, target, error)) return false;
    }
    if (!target->finish()) return fail(error, target->getErrorMessage());
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
    if (!target->createColumns()) return fail(error, target->getErrorMessage());
    return copyRows(source, target, error);
}

}  // namespace

KqbString kqbCursorOutOfMemory() {
    return kqb_get_message(KQB_BASE_SERVICES, kOutOfMemory, "kqbcursor");
}

bool kqbCanCopyCursor(void const *source, void const *target, KqbString *error) {
    if (source == nullptr || target == nullptr) {
        return fail(error, KqbString("There is no cursor to copy", true));
    }
    if (source != target) return true;
    return fail(error, KqbString("A cursor cannot be copied into itself", true));
}

bool copyCursor(KqbDatavarCursor *source, KqbDatavarCursorCreater *target, KqbString *error) {
    return copyAll(source, target, error);
}

bool copyCursor(KqbStringCursor *source, KqbStringCursorCreater *target, KqbString *error) {
    return copyAll(source, target, error);
}
