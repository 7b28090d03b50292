// The resident cursor over variants, which the one over strings stands on.
#pragma once

#include <vector>

#include "data/kqbcursorcolumns_internal.h"
#include "data/kqbresidentrows_internal.h"
#include "kqb/kqbdatavarcursor.h"

class KqbDatavarResidentCursorImpl final : public KqbDatavarCursorCreater {
public:
    bool isReady() override { return true; }
    KqbString getColumnName(int column) override { return columns_.name(column); }
    kqbType getColumnType(int column) override { return columns_.type(column); }
    int getColumnCount() override { return static_cast<int>(columns_.count()); }
    KqbDatavar getValue(int column) override;
    KqbString getErrorMessage() override { return message_; }
    bool getRowCount(__int64 *rows) override;
    int next() override { return rows_.next() ? KqbCursorRow : KqbCursorEnd; }
    void release() override { delete this; }
    bool rewind() override;
    bool beginRow() override;
    void setValue(int column, KqbDatavar const &value) override;
    bool endRow() override;
    bool finish() override { return true; }
    bool copyFrom(KqbDatavarCursor *source) override;
    void addColumn(KqbString const &name, kqbType type) override { columns_.add(name, type); }
    bool createColumns() override;

    // For the cursor over strings.
    void clear();
    KqbString getText(int column);
    void setText(int column, KqbString const &text);
    KqbString &message() { return message_; }

    virtual ~KqbDatavarResidentCursorImpl() = default;

private:
    bool outOfMemory();
    KqbCursorHolder *holderOf(unsigned column);
    void load(KqbDatavar &holder, KqbResidentRows::Tag tag, KqbResidentRows::Cell const &cell);

    KqbString message_;
    KqbCursorColumns columns_;
    std::vector<KqbCursorHolder> holders_;  // of the first columns, as far as they were read
    KqbResidentRows rows_;
};
