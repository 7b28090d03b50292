// The resident cursor over variants, which the one over strings stands on.
#pragma once

#include <vector>

#include "data/kqbresidentrows_internal.h"
#include "kqb/kqbdatavarcursor.h"

class KqbDatavarResidentCursorImpl final : public KqbDatavarCursorCreater {
public:
    bool isReady() override { return true; }
    KqbString getColumnName(int column) override;
    kqbType getColumnType(int column) override;
    int getColumnCount() override { return static_cast<int>(columns_.size()); }
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
    void addColumn(KqbString const &name, kqbType type) override;
    bool createColumns() override;

    // For the cursor over strings.
    void clear();
    KqbString getText(int column);
    void setText(int column, KqbString const &text);
    KqbString &message() { return message_; }

    virtual ~KqbDatavarResidentCursorImpl() = default;

private:
    // A value is handed out as a copy of the column's holder. Once the caller has let go of it, the
    // holder takes the next row's value without a new piece of memory.
    struct Column {
        KqbString name;
        kqbType type;
        KqbDatavar holder;
        KqbString textHolder;
    };

    bool isColumn(int column) const { return static_cast<unsigned>(column) < columns_.size(); }
    unsigned width() const { return static_cast<unsigned>(columns_.size()); }
    bool outOfMemory();
    void load(KqbDatavar &holder, KqbResidentRows::Tag tag, KqbResidentRows::Cell const &cell);

    KqbString message_;
    std::vector<Column> columns_;
    bool lacksColumn_ = false;
    KqbResidentRows rows_;
};
