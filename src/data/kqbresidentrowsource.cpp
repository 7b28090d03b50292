#include "data/kqbresidentrowsource_internal.h"

#include <climits>

#include "data/kqbcursor_internal.h"

namespace {

constexpr int kOk = 0;
constexpr int kFailed = 1;

constexpr int kOnRow = 0;
constexpr int kAtEnd = 1;
constexpr int kNextFailed = -1;

int statusOf(bool succeeded) { return succeeded ? kOk : kFailed; }

char const *textOf(KqbString const &string) { return string.isNull() ? nullptr : string.asCstr(); }

}  // namespace

struct KqbResidentRowSource::Operations {
    static KqbResidentRowSource &owner(KqbRowSource *source) {
        return *static_cast<Source *>(source)->owner;
    }
    static KqbStringCursorCreater *cursor(KqbRowSource *source) { return owner(source).cursor_; }

    static int handOut(KqbRowSource *source, KqbString const &text, char const **out) {
        owner(source).text_ = text;
        *out = textOf(owner(source).text_);
        return kOk;
    }

    static int addColumn(KqbRowSource *source, char const *name, int) {
        KqbString const copy(name);
        cursor(source)->addColumn(copy);
        if (!copy.isNull() || name == nullptr) return kOk;
        owner(source).lacksColumn_ = true;
        return kFailed;
    }
    static int createColumns(KqbRowSource *source) {
        if (!owner(source).lacksColumn_) return statusOf(cursor(source)->createColumns());
        owner(source).message_ = kqbCursorOutOfMemory();
        return kFailed;
    }
    static int finish(KqbRowSource *source) { return statusOf(cursor(source)->finish()); }
    static int endRow(KqbRowSource *source) { return statusOf(cursor(source)->endRow()); }
    static int columnName(KqbRowSource *source, int column, char const **name) {
        return handOut(source, cursor(source)->getColumnName(column), name);
    }
    static char const *errorMessage(KqbRowSource *source) {
        KqbString const message = cursor(source)->getErrorMessage();
        if (!message.isNull()) owner(source).message_ = message;
        return textOf(owner(source).message_);
    }
    static int columnCount(KqbRowSource *source) { return cursor(source)->getColumnCount(); }
    static int rowCount(KqbRowSource *source) {
        __int64 rows = 0;
        if (!cursor(source)->getRowCount(&rows)) return -1;
        return rows < INT_MAX ? static_cast<int>(rows) : INT_MAX;
    }
    static int value(KqbRowSource *source, int column, char const **value) {
        return handOut(source, cursor(source)->getValue(column), value);
    }
    static int beginRow(KqbRowSource *source) { return statusOf(cursor(source)->beginRow()); }
    static int next(KqbRowSource *source) {
        int const state = cursor(source)->next();
        if (state == KqbCursorRow) return kOnRow;
        return state == KqbCursorEnd ? kAtEnd : kNextFailed;
    }
    // It goes with the cursor that it belongs to.
    static void release(KqbRowSource *) {}
    static int setValue(KqbRowSource *source, int column, char const *text, int) {
        cursor(source)->setValue(column, KqbString(text, true));
        return kOk;
    }
    static int rewind(KqbRowSource *source) { return statusOf(cursor(source)->rewind()); }

    static constexpr KqbRowSourceOperations kTable = {
        addColumn, createColumns, finish,   endRow, columnName, errorMessage, columnCount,
        rowCount,  value,         beginRow, next,   release,    setValue,     rewind};
};

KqbResidentRowSource::KqbResidentRowSource()
    : source_{{&Operations::kTable}, this}, cursor_(createStringResidentCursor()) {}

KqbResidentRowSource::~KqbResidentRowSource() {
    if (cursor_ != nullptr) cursor_->release();
}
