// Messages for users: the catalogues' texts, or plain English where there are none.
#include "kqb/kqbmessage.h"

#include <cstdio>
#include <memory>
#include <new>

#include "core/kqbstring_internal.h"
#include "platform/kqmsg.h"

namespace {

constexpr int kUsualSize = 512;
constexpr std::size_t kUsualArguments = 8;

// Hands a buffer to get, once more with a larger one if the text is longer, which another thread's
// change of locale may have made it. Null when get has no text or memory ran out.
template <class Get>
KqbString textFrom(Get get) {
    char usual[kUsualSize];
    std::unique_ptr<char[]> larger;
    char *buffer = usual;
    int size = kUsualSize;
    KqbString result;
    for (;;) {
        int const length = get(buffer, size);
        if (length < 0) return result;
        if (length < size) {
            KqbStringAccess::assign(result, {buffer, static_cast<std::size_t>(length)});
            return result;
        }
        size = length + 1;
        larger.reset(new (std::nothrow) char[static_cast<std::size_t>(size)]);
        if (larger == nullptr) return result;
        buffer = larger.get();
    }
}

// "Base Services 332: 2, /tmp"
KqbString plainText(char const *catalog, int number,
                    std::initializer_list<KqbString> const &arguments) {
    char digits[16];
    std::snprintf(digits, sizeof digits, " %d", number);
    KqbString text(catalog != nullptr ? catalog : "");
    bool failed = text.isNull();
    if (!failed) text.append(digits, &failed);
    char const *separator = ": ";
    for (auto const &argument : arguments) {
        if (!failed) text.append(separator, &failed);
        if (!failed) text.append(argument, &failed);
        separator = ", ";
    }
    return failed ? KqbString() : text;
}

// Pointers to the arguments' texts, in place unless there are many.
class ArgumentList {
public:
    explicit ArgumentList(std::initializer_list<KqbString> const &arguments) {
        if (arguments.size() > kUsualArguments) {
            many_.reset(new (std::nothrow) char const *[arguments.size()]);
        }
        std::size_t const room = many_ != nullptr ? arguments.size() : kUsualArguments;
        for (auto const &argument : arguments) {
            if (count_ < room) texts()[count_++] = argument.asCstr();
        }
    }

    char const **texts() { return many_ != nullptr ? many_.get() : few_; }
    int count() const { return static_cast<int>(count_); }

private:
    char const *few_[kUsualArguments];
    std::unique_ptr<char const *[]> many_;
    std::size_t count_ = 0;
};

}  // namespace

KqbString kqb_get_message(char const *catalog, int number, char const *source,
                          std::initializer_list<KqbString> arguments) {
    ArgumentList list(arguments);
    KqbString text = textFrom([&](char *buffer, int size) {
        return kqmsgGetMessage(catalog, number, source, list.texts(), list.count(), buffer, size);
    });
    return text.isNull() ? plainText(catalog, number, arguments) : text;
}

KqbString kqb_get_fragment(char const *catalog, int number) {
    return textFrom(
        [&](char *buffer, int size) { return kqmsgGetFragment(catalog, number, buffer, size); });
}

bool kqbSetMessageLocale(char const *locale) { return kqmsgSetLocale(locale) == 0; }
