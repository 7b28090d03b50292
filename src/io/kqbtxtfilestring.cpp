#include <algorithm>
#include <climits>
#include <new>

#include "core/kqbstring_internal.h"
#include "io/kqbtxtfilestring_internal.h"
#include "kqb/kqbmessage.h"

namespace {

constexpr int kOutOfMemory = 444;
constexpr int kCannotSkip = 654;

// A string as a stream of bytes.
class RawString final : public KqbIORaw {
public:
    explicit RawString(KqbString *target) : target_(target) { look(); }

    bool isReady() override { return true; }
    int read(char const **data, int max) override;
    KqbString getErrorMessage() override { return message_; }
    KqbString getName() override { return KqbString(""); }
    bool open(int mode) override;
    int write(char const *data, unsigned int size) override;
    void release() override { delete this; }
    __int64 size() override { return length_; }
    __int64 skip(__int64 count) override;

private:
    // The string's text is elsewhere after every change.
    void look() {
        text_ = target_->asCstr();
        length_ = target_->cStrSize() - 1;
    }

    KqbString *target_;
    KqbString message_;
    char const *text_ = nullptr;
    __int64 length_ = 0;
    __int64 position_ = 0;
};

int RawString::read(char const **data, int max) {
    __int64 const remaining = std::min<__int64>(length_ - position_, INT_MAX);
    int const count = static_cast<int>(max >= 1 && max < remaining ? max : remaining);
    *data = text_ + position_;
    position_ += count;
    return count;
}

bool RawString::open(int mode) {
    if (mode == KqbTxtFileWrite) {
        target_->assign("");  // a truncation would first copy text shared with other strings
        look();
        position_ = 0;
    } else if (mode == KqbTxtFileAppend) {
        position_ = length_;
    }
    return true;
}

int RawString::write(char const *data, unsigned int size) {
    if (!KqbStringAccess::append(*target_, {data, size})) {
        message_ = kqb_get_message(KQB_BASE_SERVICES, kOutOfMemory, kKqbStringStreamSource);
        return -1;
    }
    look();
    position_ = length_;
    return static_cast<int>(size);
}

__int64 RawString::skip(__int64 count) {
    // Neither behind the text nor, by a negative count, before it.
    if (count > length_ - position_ || count < -position_) {
        message_ = kqb_get_message(KQB_BASE_SERVICES, kCannotSkip, kKqbStringStreamSource,
                                   {KqbString("-1")});
        return -1;
    }
    position_ += count;
    return position_;
}

}  // namespace

KqbIORaw *kqbStringStreamCreate(KqbString *target) {
    return target != nullptr ? new (std::nothrow) RawString(target) : nullptr;
}
