#include "list.h"

#include "output.h"

namespace {

void require(bool succeeded) {
    if (!succeeded) throw Failure(kLibraryFailure, "out of memory");
}

}  // namespace

List::List(std::initializer_list<char const *> columns) : cursor_(createStringResidentCursor()) {
    require(cursor_ != nullptr);
    for (char const *const column : columns) cursor_->addColumn(column);
    require(cursor_->createColumns());
}

void List::add(std::initializer_list<KqbString> values) {
    require(cursor_->beginRow());
    int column = 0;
    for (KqbString const &value : values) cursor_->setValue(column++, value);
    require(cursor_->endRow());
}
