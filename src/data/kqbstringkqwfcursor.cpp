#include "kqb/kqbstringkqwfcursor.h"

#include <memory>
#include <new>

#include "core/kqbmemoryfailures_internal.h"
#include "data/kqbresidentrowsource_internal.h"

namespace {

constexpr int kRowSourceVersion = 4;

int lengthOf(KqbString const &text) { return static_cast<int>(text.cStrSize() - 1); }

// A null string is an absent value.
char const *textOf(KqbString const &text) { return text.isNull() ? nullptr : text.asCstr(); }

class KqbStringKQWFCursorImpl final : public KqbStringKQWFCursor {
public:
    bool isUsable() { return own_.cursor() != nullptr; }

    bool isReady() override { return external_ == nullptr && own_.cursor()->isReady(); }
    KqbString getColumnName(int column) override { return text(operations().columnName, column); }
    int getColumnCount() override { return operations().columnCount(source_); }
    KqbString getValue(int column) override { return text(operations().value, column); }
    KqbString getErrorMessage() override { return KqbString(operations().errorMessage(source_)); }
    bool getRowCount(__int64 *rows) override {
        if (rows != nullptr) *rows = operations().rowCount(source_);
        return true;
    }
    int next() override {
        int const state = operations().next(source_);
        if (state < 0) return KqbCursorFailure;
        return state == 0 ? KqbCursorRow : KqbCursorEnd;
    }
    void release() override { delete this; }
    bool rewind() override { return operations().rewind(source_) == 0; }
    bool beginRow() override { return operations().beginRow(source_) == 0; }
    void setValue(int column, KqbString const &value) override {
        operations().setValue(source_, column, textOf(value), lengthOf(value));
    }
    bool endRow() override { return operations().endRow(source_) == 0; }
    bool finish() override { return operations().finish(source_) == 0; }
    bool copyFrom(KqbStringCursor *) override { return false; }
    void addColumn(KqbString const &name) override {
        operations().addColumn(source_, name.asCstr(), lengthOf(name));
    }
    bool createColumns() override { return operations().createColumns(source_) == 0; }

    int getRowSourceVersion() override { return kRowSourceVersion; }
    KqbRowSource *getRowSource() override { return source_; }
    void setRowSource(KqbRowSource *source) override;

    virtual ~KqbStringKQWFCursorImpl() { releaseExternal(); }

private:
    using TextOperation = int (*)(KqbRowSource *, int, char const **);

    KqbRowSourceOperations const &operations() const { return *source_->operations; }
    KqbString text(TextOperation operation, int column) {
        char const *text = nullptr;
        if (operation(source_, column, &text) != 0) return KqbString("", true);
        KqbString const copy(text);
        if (text != nullptr && copy.isNull()) kqbNoteMemoryFailure();  // it is no absent value
        return copy;
    }
    void releaseExternal() {
        if (external_ != nullptr) external_->operations->release(external_);
    }

    KqbResidentRowSource own_;
    KqbRowSource *external_ = nullptr;
    KqbRowSource *source_ = own_.source();
};

void KqbStringKQWFCursorImpl::setRowSource(KqbRowSource *source) {
    if (source == source_) return;
    releaseExternal();
    external_ = source != own_.source() ? source : nullptr;
    source_ = external_ != nullptr ? external_ : own_.source();
}

}  // namespace

KqbStringKQWFCursor *createStringKQWFCursor() {
    std::unique_ptr<KqbStringKQWFCursorImpl> cursor(new (std::nothrow) KqbStringKQWFCursorImpl);
    return cursor != nullptr && cursor->isUsable() ? cursor.release() : nullptr;
}
