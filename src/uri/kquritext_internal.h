// KqURIText: a text in the making.
#pragma once

#include <cstring>
#include <string_view>

#include "config/kqbmemory_internal.h"
#include "core/kqbstring_internal.h"

// Gathers pieces on the stack and, once they outgrow it, in a string. Operations throw
// std::bad_alloc.
class KqURIText {
public:
    KqURIText() {}
    KqURIText(KqURIText const &) = delete;
    KqURIText &operator=(KqURIText const &) = delete;

    KqURIText &add(std::string_view piece) {
        if (piece.size() > room()) return addBeyond(piece);
        std::memcpy(end_, piece.data(), piece.size());
        end_ += piece.size();
        return *this;
    }
    KqURIText &add(KqbString const &piece) { return add(KqbStringAccess::view(piece)); }
    KqURIText &add(char const *piece) { return add(std::string_view(piece)); }
    KqURIText &add(char byte) { return add(std::string_view(&byte, 1)); }

    // The text so far; valid until something is added.
    std::string_view view() {
        if (gathered_.isNull()) return held();
        flush();
        return KqbStringAccess::view(gathered_);
    }

    // The text as a string, never null; to be called once.
    KqbString take() {
        if (gathered_.isNull()) return kqbStringOf(held());
        flush();
        return static_cast<KqbString &&>(gathered_);
    }

private:
    std::size_t room() const { return static_cast<std::size_t>(buffer_ + sizeof buffer_ - end_); }
    std::string_view held() const { return {buffer_, static_cast<std::size_t>(end_ - buffer_)}; }

    void flush() {
        append(held());
        end_ = buffer_;
    }

    void append(std::string_view bytes) {
        if (!KqbStringAccess::append(gathered_, bytes)) throw std::bad_alloc();
    }

    KqURIText &addBeyond(std::string_view piece) {
        flush();
        if (piece.size() > room()) {
            append(piece);
            return *this;
        }
        return add(piece);
    }

    char buffer_[512];
    char *end_ = buffer_;
    KqbString gathered_;
};
