#include "config/kqboptionexpansion_internal.h"

bool KqbOptionExpansion::findReference(std::string_view *key) {
    std::string_view const text = rest();
    open_ = text.find(kKqbReferenceMark);
    if (open_ == std::string_view::npos) return false;
    std::size_t const keyBegin = open_ + kKqbReferenceMark.size();
    std::size_t const close = text.find(kKqbReferenceMark, keyBegin);
    if (close == std::string_view::npos) return false;
    *key = text.substr(keyBegin, close - keyBegin);
    end_ = close + kKqbReferenceMark.size();
    return true;
}

void KqbOptionExpansion::replaceReference(std::string_view value) {
    done_ += rest().substr(0, open_);
    begin_ += end_;
    if (value.size() > begin_) {
        std::size_t const more = buffer_.size() + value.size();
        buffer_.insert(0, more, '\0');
        begin_ += more;
    }
    begin_ -= value.size();
    value.copy(buffer_.data() + begin_, value.size());
}
