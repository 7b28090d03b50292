// The seam: handles are checked, and what containers throw ends here.
#include "platform/kqwlp.h"

#include <new>
#include <stdexcept>

#include "backends/kqwlp/kqwlp_rowset.h"

namespace {

template <class Operation>
int guarded(bool argumentsAreSound, Operation const &operation) {
    if (!argumentsAreSound) return KQWLP_ARGUMENT;
    try {
        return operation();
    } catch (std::bad_alloc const &) {
    } catch (std::length_error const &) {
    }
    return KQWLP_MEMORY;
}

kqwlpCode create(kqwlpRowSet **set, char const *codes) {
    auto made = std::make_unique<kqwlpRowSet>();
    if (!made->describe(codes)) return KQWLP_COLUMNS;
    *set = made.release();
    return KQWLP_OK;
}

}  // namespace

int kqwlp_initialize() { return KQWLP_OK; }

int kqwlpRowSet_create(kqwlpRowSet **set, int kind, char const *codes) {
    return guarded(set != nullptr && codes != nullptr && kind == KQWLP_APPENDED,
                   [=] { return create(set, codes); });
}

int kqwlpRowSet_destroy(kqwlpRowSet *set) {
    delete set;
    return KQWLP_OK;
}

int kqwlpRowSet_setMemory(kqwlpRowSet *set, long long bytes, char const *directory) {
    return guarded(set != nullptr, [=] { return set->setMemory(bytes, directory); });
}

int kqwlpRowSet_addRow(kqwlpRowSet *set, kqwlpColumnValue const *values) {
    return guarded(set != nullptr && values != nullptr, [=] { return set->add(values); });
}

int kqwlpRowSet_seekRow(kqwlpRowSet *set, long long number, kqwlpRow *row) {
    return guarded(set != nullptr && row != nullptr, [=] { return set->seek(number, row); });
}

int kqwlpRowSet_nextRow(kqwlpRowSet *set, kqwlpRow *row) {
    return guarded(set != nullptr && row != nullptr, [=] { return set->next(row); });
}

int kqwlpRowSet_currentRow(kqwlpRowSet *set, kqwlpRow *row) {
    return guarded(set != nullptr && row != nullptr, [=] { return set->current(row); });
}

long long kqwlpRowSet_getRows(kqwlpRowSet const *set) { return set != nullptr ? set->rows() : 0; }

int kqwlpRowSet_getColumns(kqwlpRowSet const *set) { return set != nullptr ? set->columns() : 0; }

kqwlpUsage kqwlpRowSet_getUsage(kqwlpRowSet const *set) {
    return set != nullptr ? set->usage() : kqwlpUsage{0, 0};
}
