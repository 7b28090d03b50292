#include "decimal_expression.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "output.h"

namespace {

using Arguments = std::vector<KqbReal>;

constexpr int kMostDepth = 256;

class Evaluator {
public:
    explicit Evaluator(std::string const &text) : text_(text) {}

    DecimalResult run() {
        KqbReal const value = sum();
        at();
        if (place_ < text_.size()) fail("an operator is missing");
        return {value, isRounded_};
    }

private:
    using Step = KqbReal (KqbReal::*)(KqbReal const &, bool *);

    [[noreturn]] void fail(std::string const &what, std::size_t place, ExitCode code) const {
        auto const isLead = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; };
        auto const start = text_.begin();
        auto const position =
            std::count_if(start, start + static_cast<std::ptrdiff_t>(place), isLead) + 1;
        throw Failure(code,
                      what + " at position " + std::to_string(position) + " of '" + text_ + "'");
    }
    [[noreturn]] void fail(std::string const &what) const { fail(what, place_, kUsage); }

    // The next character that is no blank; NUL at the end.
    char at() {
        while (place_ < text_.size() && text_[place_] == ' ') ++place_;
        return place_ < text_.size() ? text_[place_] : '\0';
    }
    bool accept(char c) {
        if (at() != c) return false;
        ++place_;
        return true;
    }
    void expect(char c) {
        if (!accept(c)) fail(std::string("'") + c + "' is missing");
    }
    std::string_view run(char const *characters) {
        std::size_t const start = place_;
        place_ = std::min(text_.find_first_not_of(characters, start), text_.size());
        return std::string_view(text_).substr(start, place_ - start);
    }

    KqbReal step(Step operation, KqbReal left, KqbReal const &right, std::size_t place) {
        bool error = false;
        KqbReal const result = (left.*operation)(right, &error);
        if (error || result.isNull()) fail("there is no result", place, kLibraryFailure);
        isRounded_ |= left.truncated();
        return result;
    }

    KqbReal sum() {
        KqbReal value = product();
        for (;;) {
            std::size_t const place = (at(), place_);
            if (accept('+')) {
                value = step(&KqbReal::add, value, product(), place);
            } else if (accept('-')) {
                value = step(&KqbReal::subtract, value, product(), place);
            } else {
                return value;
            }
        }
    }

    KqbReal product() {
        KqbReal value = factor();
        for (;;) {
            std::size_t const place = (at(), place_);
            if (accept('*')) {
                value = step(&KqbReal::multiply, value, factor(), place);
            } else if (accept('/')) {
                value = step(&KqbReal::divide, value, factor(), place);
            } else {
                return value;
            }
        }
    }

    KqbReal factor() {
        if (++depth_ > kMostDepth) fail("too deeply nested");
        KqbReal const value = accept('-')   ? factor().negative()
                              : accept('+') ? factor()
                                            : primary();
        --depth_;
        return value;
    }

    KqbReal primary() {
        if (accept('(')) {
            KqbReal const value = sum();
            expect(')');
            return value;
        }
        char const c = at();
        if ((c >= '0' && c <= '9') || c == '.') return number();
        if (c >= 'a' && c <= 'z') return call();
        fail("a number is missing");
    }

    KqbReal number() {
        std::size_t const start = place_;
        run("0123456789.");
        if (place_ < text_.size() && (text_[place_] == 'e' || text_[place_] == 'E')) {
            ++place_;
            if (place_ < text_.size() && (text_[place_] == '+' || text_[place_] == '-')) ++place_;
            run("0123456789");
        }
        std::string const digits = text_.substr(start, place_ - start);
        KqbReal const value(digits.c_str());
        if (value.isNull()) fail("'" + digits + "' is no number", start, kUsage);
        isRounded_ |= value.truncated();
        return value;
    }

    KqbReal call() {
        std::size_t const place = place_;
        std::string const name(run("abcdefghijklmnopqrstuvwxyz"));
        std::size_t const count = name == "round" || name == "mod" ? 2 : 1;
        bool const isKnown =
            count == 2 || name == "sqrt" || name == "floor" || name == "ceiling" || name == "abs";
        if (!isKnown) fail("'" + name + "' is no function", place, kUsage);
        expect('(');
        Arguments arguments{sum()};
        while (arguments.size() < count) {
            expect(',');
            arguments.push_back(sum());
        }
        expect(')');
        KqbReal const value = apply(name, arguments, place);
        if (value.isNull()) fail(name + " has no result", place, kLibraryFailure);
        isRounded_ |= value.truncated();
        return value;
    }

    KqbReal apply(std::string const &name, Arguments const &arguments, std::size_t place) const {
        KqbReal const &value = arguments.front();
        if (name == "sqrt") return value.sqrt();
        if (name == "floor") return value.floor();
        if (name == "ceiling") return value.ceiling();
        if (name == "abs") return value.absolute();
        if (name == "mod") return value.modulo(arguments[1]);
        long long const places = arguments[1].asInt64();
        if (arguments[1] != places) fail("round wants a whole number of places", place, kUsage);
        constexpr long long most = 1000000;  // far more than any number has
        return value.round(static_cast<int>(std::clamp(places, -most, most)));
    }

    std::string const &text_;
    std::size_t place_ = 0;
    int depth_ = 0;
    bool isRounded_ = false;
};

}  // namespace

DecimalResult evaluateDecimal(std::string const &expression) { return Evaluator(expression).run(); }

// KqbReal writes no whole numbers of 53 digits and more unless they end in many zeros. Such a
// number divided by 10^52 is written in plain form, and its point can be moved.
std::string allDigits(KqbReal const &value) {
    constexpr int width = 200;  // wider than any text
    KqbString const text = value.asString(width);
    if (!text.isNull()) return toText(text);
    KqbReal const scale("1E52");
    std::string digits = toText((value / scale).asString(width));
    std::size_t const sign = digits.front() == '-' ? 1 : 0;
    std::size_t const point = std::min(digits.find('.'), digits.size());
    std::size_t const exponent = 52 + point - sign - 1;
    if (point < digits.size()) digits.erase(point, 1);
    digits.insert(sign + 1, ".");
    return digits + "E+" + std::to_string(exponent);
}
