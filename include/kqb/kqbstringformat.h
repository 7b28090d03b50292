// kqbStringFormat: text from a small printf-like format.
#pragma once

#include <type_traits>

#include "kqb/kqbstring.h"

// One argument of kqbStringFormat, by value of its kind. Made by the templates below; texts and
// strings are referred to, not copied.
class KqbFormatArg {
public:
    enum class Kind { kInteger, kDouble, kText, kString };

    template <class T, std::enable_if_t<std::is_integral_v<T> || std::is_enum_v<T>, int> = 0>
    KqbFormatArg(T value)
        : kind_(Kind::kInteger), size_(sizeof(T)),
          integer_(static_cast<unsigned long long>(static_cast<long long>(value))) {}
    KqbFormatArg(double value) : kind_(Kind::kDouble), size_(sizeof(double)), double_(value) {}
    KqbFormatArg(char const *value) : kind_(Kind::kText), size_(sizeof(char *)), text_(value) {}
    KqbFormatArg(KqbString const &value)
        : kind_(Kind::kString), size_(sizeof(KqbString)), string_(&value) {}

    Kind kind() const { return kind_; }
    // Bytes of the argument's own type.
    unsigned size() const { return size_; }
    // The integer extended to 64 bits by the sign of its own type.
    unsigned long long integer() const { return integer_; }
    double real() const { return double_; }
    char const *text() const { return text_; }
    KqbString const &string() const { return *string_; }

private:
    Kind kind_;
    unsigned size_;
    union {
        unsigned long long integer_;
        double double_;
        char const *text_;
        KqbString const *string_;
    };
};

// Does the work of kqbStringFormat; arguments are taken in order, as the conversions ask.
KQB_API KqbString kqbStringFormatArgs(char const *format, KqbFormatArg const *arguments,
                                      unsigned int count);

// Builds a string from format. Conversions have no flags, width or precision:
//   %s text (null text adds nothing, but a null result becomes empty)     %S KqbString
//   %d %ld %li %lld %lli %I64i signed      %lu %llu %I64u unsigned      %g double, as
//   KqbString::assign(double) writes it    %% a percent sign
// Every other byte is copied: an unknown conversion %c gives "%c", %l or %ll before another byte
// gives "%l" and that byte, %I before anything but 64i or 64u gives "%". A lone % at the end gives
// "%". An integer is read at the width of its own type (an int's, where that is narrower), whatever
// the conversion's length says, and by the conversion's sign. An argument that is missing or of the
// wrong kind leaves its conversion standing as text; the next conversion takes the next argument all
// the same. Null or empty format: null. When memory runs out the result is what could be built.
template <class... Arguments>
KqbString kqbStringFormat(char const *format, Arguments const &...arguments) {
    if constexpr (sizeof...(Arguments) == 0) {
        return kqbStringFormatArgs(format, nullptr, 0);
    } else {
        KqbFormatArg const list[] = {KqbFormatArg(arguments)...};
        return kqbStringFormatArgs(format, list, sizeof...(Arguments));
    }
}
