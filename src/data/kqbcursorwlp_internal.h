// The row-set cursor over variants, which the one over strings stands on.
#pragma once

#include <string>
#include <vector>

#include "data/kqbcursorcolumns_internal.h"
#include "kqb/kqbdatavarwlpcursor.h"
#include "platform/kqwlp.h"

class KqbDatavarWlpCursorImpl final : public KqbDatavarWlpCursor {
public:
    KqbDatavarWlpCursorImpl();
    KqbDatavarWlpCursorImpl(KqbDatavarWlpCursorImpl const &) = delete;
    KqbDatavarWlpCursorImpl &operator=(KqbDatavarWlpCursorImpl const &) = delete;

    bool isReady() override { return true; }
    KqbString getColumnName(int column) override { return columns_.name(column); }
    kqbType getColumnType(int column) override { return columns_.type(column); }
    int getColumnCount() override { return static_cast<int>(columns_.count()); }
    KqbDatavar getValue(int column) override;
    KqbString getErrorMessage() override { return message_; }
    bool getRowCount(__int64 *rows) override;
    int next() override;
    void release() override { delete this; }
    bool rewind() override;
    bool beginRow() override;
    void setValue(int column, KqbDatavar const &value) override;
    bool endRow() override;
    bool finish() override { return true; }
    bool copyFrom(KqbDatavarCursor *source) override;
    void addColumn(KqbString const &name, kqbType type) override { columns_.add(name, type); }
    bool createColumns() override;
    kqwlpRowSet *getRowSet() override { return set_; }
    void setRowSet(kqwlpRowSet *set) override;

    // For the cursor over strings.
    void clear();
    KqbString getText(int column);
    void setText(int column, KqbString const &text);
    KqbString &message() { return message_; }

    virtual ~KqbDatavarWlpCursorImpl();

private:
    // What the records of the row begun point at.
    struct Held {
        KqbDatavar value;
        KqbString text;
        unsigned char real[KQWLP_REAL_SIZE];
    };

    void dropSet();
    bool adopt(kqwlpRowSet *set);
    bool outOfMemory();
    bool failRowset(int code);
    bool prepareRecords();
    bool isWritable(int column) const;
    kqwlpColumnValue const *valueAt(int column);

    KqbString message_;
    KqbCursorColumns columns_;
    kqwlpRowSet *set_ = nullptr;

    bool rewound_ = false;
    kqwlpRow row_ = nullptr;
    bool isRowStale_ = false;  // rows were added since it was read
    std::vector<KqbCursorHolder> holders_;
    unsigned valueCount_ = 0;  // of the row set's columns

    std::vector<kqwlpColumnValue> records_;
    std::vector<Held> held_;
    bool isRowOpen_ = false;
};
