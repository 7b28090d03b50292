// kqbStringFormat: pieces gather in a buffer on the stack, so most results are built in one go.
#include "kqb/kqbstringformat.h"

#include <charconv>
#include <cstring>

#include "core/kqbcopy_internal.h"
#include "core/kqbstring_internal.h"

namespace {

using std::string_view;

class Pieces {
public:
    explicit Pieces(KqbString &result) : result_(result) {}

    void add(string_view piece) {
        touched_ = true;
        if (piece.size() > room()) {
            flush();
            if (piece.size() > room()) {
                KqbStringAccess::append(result_, piece);
                return;
            }
        }
        kqbCopy(end_, piece.data(), piece.size());
        end_ += piece.size();
    }

    // Adds what stands in front of the next percent sign or the end, and returns that place.
    // Literal text between conversions is short as a rule, so bytes are taken one by one.
    char const *addLiteral(char const *at) {
        while (*at != '%' && *at != '\0') {
            if (room() == 0) flush();
            char *out = end_;
            while (*at != '%' && *at != '\0' && out != buffer_ + sizeof buffer_) *out++ = *at++;
            end_ = out;
            touched_ = true;
        }
        return at;
    }

    // Room for a number, to be written at the address; wrote() tells its end.
    char *numberRoom() {
        if (room() < kNumberText) flush();
        return end_;
    }
    void wrote(char *end) {
        touched_ = true;
        end_ = end;
    }
    static constexpr std::size_t kNumberText = kKqbDoubleText;

    // Brings the result up to date; it stays null when no piece was added.
    void finish() {
        if (touched_) flush();
    }

private:
    std::size_t room() const { return static_cast<std::size_t>(buffer_ + sizeof buffer_ - end_); }

    // Seldom needed before the end; kept out of line so that the ways around it are short.
    [[gnu::noinline]] void flush() {
        KqbStringAccess::append(result_, {buffer_, static_cast<std::size_t>(end_ - buffer_)});
        end_ = buffer_;
    }

    char buffer_[512];
    char *end_ = buffer_;
    bool touched_ = false;
    KqbString &result_;
};

// Reads a format once. Every function that takes `at`, a place behind a percent sign, answers
// where the reading goes on.
class Formatter {
public:
    Formatter(KqbFormatArg const *arguments, unsigned count, KqbString &result)
        : next_(arguments), end_(arguments + count), pieces_(result) {}

    void run(char const *at) {
        while (*at != '\0') {
            at = pieces_.addLiteral(at);
            if (*at == '%') at = convert(at + 1);
        }
        pieces_.finish();
    }

private:
    using Kind = KqbFormatArg::Kind;

    static string_view between(char const *from, char const *to) {
        return {from, static_cast<std::size_t>(to - from)};
    }

    char const *convert(char const *at) {
        switch (*at) {
            case 's':
                return text(at);
            case 'S':
                return string(at);
            case 'd':
                return integer(at, at + 1, true);
            case 'g':
                return real(at);
            case 'l':
                return convertLong(at);
            case 'I':
                return convertWide(at);
            case '%':
                pieces_.add("%");
                return at + 1;
            case '\0':
                pieces_.add("%");
                return at;
            default:
                pieces_.add(between(at - 1, at + 1));
                return at + 1;
        }
    }

    char const *convertLong(char const *at) {
        char const *type = at + 1;
        while (*type == 'l') ++type;
        if (*type == 'u') return integer(at, type + 1, false);
        if (*type == 'i' || *type == 'd') return integer(at, type + 1, true);
        pieces_.add("%l");
        if (*type == '\0') return type;
        pieces_.add({type, 1});
        return type + 1;
    }

    char const *convertWide(char const *at) {
        if (std::strncmp(at, "I64i", 4) == 0) return integer(at, at + 4, true);
        if (std::strncmp(at, "I64u", 4) == 0) return integer(at, at + 4, false);
        pieces_.add("%");
        return at + 1;
    }

    char const *text(char const *at) {
        KqbFormatArg const *const argument = take(Kind::kText, at, at + 1);
        if (argument == nullptr) return at + 1;
        pieces_.add(argument->text() != nullptr ? argument->text() : "");
        return at + 1;
    }

    char const *string(char const *at) {
        KqbFormatArg const *const argument = take(Kind::kString, at, at + 1);
        if (argument != nullptr && !argument->string().isNull()) {
            pieces_.add(KqbStringAccess::view(argument->string()));
        }
        return at + 1;
    }

    char const *real(char const *at) {
        KqbFormatArg const *const argument = take(Kind::kDouble, at, at + 1);
        if (argument == nullptr) return at + 1;
        char *const room = pieces_.numberRoom();
        pieces_.wrote(room + kqbDoubleText(argument->real(), room));
        return at + 1;
    }

    char const *integer(char const *at, char const *end, bool isSigned) {
        KqbFormatArg const *const argument = take(Kind::kInteger, at, end);
        if (argument == nullptr) return end;
        // What is narrower than an int is promoted, as in any call.
        bool const isWide = argument->size() > sizeof(int);
        unsigned long long magnitude = argument->integer();
        if (!isWide) magnitude = static_cast<unsigned>(magnitude);
        auto const value = isWide ? static_cast<long long>(magnitude)
                                  : static_cast<long long>(static_cast<int>(magnitude));
        char *out = pieces_.numberRoom();
        if (isSigned && value < 0) {
            *out++ = '-';
            magnitude = 0 - static_cast<unsigned long long>(value);
        }
        pieces_.wrote(std::to_chars(out, out + Pieces::kNumberText, magnitude).ptr);
        return end;
    }

    // The next argument. When it is missing or of another kind the conversion, from its percent
    // sign to end, becomes text.
    KqbFormatArg const *take(Kind kind, char const *at, char const *end) {
        KqbFormatArg const *const argument = next_ < end_ ? next_++ : nullptr;
        if (argument != nullptr && argument->kind() == kind) [[likely]]
            return argument;
        leave(at, end);
        return nullptr;
    }

    [[gnu::noinline]] void leave(char const *at, char const *end) {
        pieces_.add(between(at - 1, end));
    }

    KqbFormatArg const *next_;
    KqbFormatArg const *end_;
    Pieces pieces_;
};

}  // namespace

KqbString kqbStringFormatArgs(char const *format, KqbFormatArg const *arguments,
                              unsigned int count) {
    KqbString result;
    if (format != nullptr) Formatter(arguments, count, result).run(format);
    return result;
}
