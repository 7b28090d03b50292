// The cursors over strings: each stands on one over variants, of which it uses the texts.
#pragma once

#include "data/kqbcursor_internal.h"
#include "kqb/kqbdatavar.h"
#include "kqb/kqbstringcursor.h"

template <class Interface, class Datavars>
class KqbStringCursorOver final : public Interface {
public:
    bool isReady() override { return datavars_.isReady(); }
    KqbString getColumnName(int column) override { return datavars_.getColumnName(column); }
    int getColumnCount() override { return datavars_.getColumnCount(); }
    KqbString getValue(int column) override { return datavars_.getText(column); }
    KqbString getErrorMessage() override { return datavars_.getErrorMessage(); }
    bool getRowCount(__int64 *rows) override { return datavars_.getRowCount(rows); }
    int next() override { return datavars_.next(); }
    void release() override { delete this; }
    bool rewind() override { return datavars_.rewind(); }
    bool beginRow() override { return datavars_.beginRow(); }
    void setValue(int column, KqbString const &value) override { datavars_.setText(column, value); }
    bool endRow() override { return datavars_.endRow(); }
    bool finish() override { return datavars_.finish(); }
    bool copyFrom(KqbStringCursor *source) override {
        return kqbCopyCursorFrom(source, this, &datavars_.message(), [this] { datavars_.clear(); });
    }
    void addColumn(KqbString const &name) override { datavars_.addColumn(name, KqbTypeString); }
    bool createColumns() override { return datavars_.createColumns(); }

    virtual ~KqbStringCursorOver() = default;

private:
    Datavars datavars_;
};
