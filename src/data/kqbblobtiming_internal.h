// Times one page operation.
#pragma once

#include "data/kqbblobpages_internal.h"

class KqbBlobPages::Timing {
public:
    Timing(KqbBlobPages *pages, char const *tag)
        : pages_(pages->isTimed() ? pages : nullptr), tag_(tag) {
        if (pages_ != nullptr) pages_->enter();
    }
    ~Timing() {
        if (pages_ != nullptr) pages_->exit(tag_);
    }
    Timing(Timing const &) = delete;
    Timing &operator=(Timing const &) = delete;

private:
    KqbBlobPages *const pages_;
    char const *const tag_;
};
