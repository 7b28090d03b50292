// KqbDatavar: conversions, and storing by conversion.
#include <cmath>
#include <string_view>

#include "core/kqbdate_internal.h"
#include "core/kqbstring_internal.h"
#include "core/kqbtextbool_internal.h"
#include "kqb/kqbdatavar.h"
#include "platform/kqschr.h"
#include "platform/kqsstr.h"

namespace {

// Where errors go, also when nobody asks; none at first.
class ErrorFlag {
public:
    explicit ErrorFlag(bool *error) : error_(error != nullptr ? error : &unasked_) {
        *error_ = false;
    }
    operator bool *() const { return error_; }

    template <class Result>
    Result raise(Result result) const {
        *error_ = true;
        return result;
    }
    template <class Result>
    Result raiseUnless(bool condition, Result result) const {
        return condition ? result : raise(Result{});
    }

private:
    bool unasked_ = false;
    bool *error_;
};

template <class Number, class Parse>
Number parsed(char const *text, ErrorFlag const &error, Parse parse) {
    Number value{};
    bool const succeeded = parse(text, &value, 0, 0) > 0;
    return error.raiseUnless(succeeded, value);
}

KqbString copiedText(std::string_view text) {
    KqbString copy;
    KqbStringAccess::assign(copy, text);
    return copy;
}

KqbReal parsedReal(char const *text, std::size_t size, ErrorFlag const &error) {
    KqbReal value(text);
    if (value.isNull()) {
        KqbString trimmed = copiedText({text, size});
        if (trimmed.trim(false, true) > 0) value.assign(trimmed.asCstr());
    }
    return error.raiseUnless(!value.isNull(), value);
}

KqbString integerText(long long number) {
    KqbString text;
    text.assign(number);
    return text;
}

KqbString dateText(double number) {
    KqbDateOptions const &options = kqbDateOptions();
    return KqbDate(number).asString(options.iso, options.milliseconds);
}

// The bytes of the whole characters that lie within both limits; a negative one is none.
std::size_t bytesWithin(char const *text, std::size_t bytes, int maxCharacters, int maxBytes) {
    if (maxCharacters >= 0) {
        auto const count = static_cast<unsigned int>(maxCharacters);
        char const *const end = np_uchar_seek_n(text, bytes, count);
        if (end != nullptr) bytes = static_cast<std::size_t>(end - text);
    }
    if (maxBytes < 0 || static_cast<std::size_t>(maxBytes) >= bytes) return bytes;
    bytes = static_cast<std::size_t>(maxBytes);
    while (bytes > 0 && kqbIsContinuation(text[bytes])) --bytes;
    return bytes;
}

}  // namespace

// --- Numbers --------------------------------------------------------------------------------------

int KqbDatavar::asInt(bool *flag) const {
    ErrorFlag const error(flag);
    if (type() == KqbTypeString) return parsed<int>(text(), error, kqs_numparse);
    long long const wide = asInt64(error);
    auto const low = static_cast<int>(wide);
    return error.raiseUnless(low == wide || type() == KqbTypeInteger, low);
}

long long KqbDatavar::toInt64(bool *flag) const {
    ErrorFlag const error(flag);
    if (isNull()) return 0;
    switch (type()) {
        case KqbTypeBoolean:
            return value<bool>() ? 1 : 0;
        case KqbTypeInteger:
            return value<long long>();
        case KqbTypeReal:
            return value<KqbReal>().asInt64(error);
        case KqbTypeString:
            return parsed<long long>(text(), error, kqs_numparse64);
        case KqbTypeDate:
            return static_cast<long long>(value<double>());
        default:
            return error.raise(0LL);
    }
}

unsigned long long KqbDatavar::asSize(bool *flag) const {
    ErrorFlag const error(flag);
    switch (type()) {
        case KqbTypeReal:
            return value<KqbReal>().asSize(error);
        case KqbTypeString:
            return parsed<unsigned long long>(text(), error, kqs_numparseU64);
        default:
            break;
    }
    long long const number = asInt64(error);
    return error.raiseUnless(number >= 0, static_cast<unsigned long long>(number));
}

double KqbDatavar::asDouble(bool *flag) const {
    ErrorFlag const error(flag);
    switch (type()) {
        case KqbTypeInteger:
            return static_cast<double>(value<long long>());
        case KqbTypeReal:
            return value<KqbReal>().asDouble(error);
        case KqbTypeString: {
            double number = 0;
            bool const succeeded = kqs_numparsedbl(text(), &number) > 0;
            return error.raiseUnless(succeeded, number);
        }
        case KqbTypeDate:
            return value<double>();
        default:
            return static_cast<double>(asInt64(error));
    }
}

float KqbDatavar::asFloat(bool *flag) const {
    ErrorFlag const error(flag);
    constexpr double limit = 0x1.ffffffp127;  // what would round to more than the largest float
    double const number = asDouble(error);
    bool const fits = std::fabs(number) < limit || std::isinf(number);
    return fits ? static_cast<float>(number) : error.raise(0.0F);
}

bool KqbDatavar::asBool(bool *flag) const {
    ErrorFlag const error(flag);
    switch (type()) {
        case KqbTypeString: {
            bool result = false;
            *error = !kqbTextToBool(text(), &result);
            return result;
        }
        case KqbTypeDate:
            return error.raise(false);
        default:
            return asInt64(error) != 0;
    }
}

KqbReal KqbDatavar::asReal(bool *flag) const {
    ErrorFlag const error(flag);
    if (isNull()) return {};
    switch (type()) {
        case KqbTypeBoolean:
            return value<bool>();
        case KqbTypeInteger:
            return value<long long>();
        case KqbTypeReal:
            return value<KqbReal>();
        case KqbTypeString:
            return parsedReal(text(), rep_->size - 1, error);
        case KqbTypeDate:
            return value<double>();
        default:
            return error.raise(KqbReal());
    }
}

// --- Other types ----------------------------------------------------------------------------------

KqbBlob KqbDatavar::asBlob(bool *flag) const {
    ErrorFlag const error(flag);
    if (type() == KqbTypeBinary) return value<KqbBlob>();
    return error.raiseUnless(isNull(), KqbBlob());
}

KqbDate KqbDatavar::asDate() const {
    switch (type()) {
        case KqbTypeDate:
            return KqbDate(value<double>());
        case KqbTypeString:
            return KqbDate(text());
        case KqbTypeInteger:
            return KqbDate(asDouble());
        case KqbTypeReal:
            return value<KqbReal>().isNull() ? KqbDate() : KqbDate(asDouble());
        default:
            return {};
    }
}

KqbString KqbDatavar::asString() const {
    switch (type()) {
        case KqbTypeBoolean:
            return KqbString(value<bool>() ? "true" : "false", true);
        case KqbTypeInteger:
            return integerText(value<long long>());
        case KqbTypeReal:
            return value<KqbReal>().asString();
        case KqbTypeString:
            return copiedText({text(), rep_->size - 1});
        case KqbTypeDate:
            return dateText(value<double>());
        default:
            return {};
    }
}

// --- Storing by conversion ------------------------------------------------------------------------

bool KqbDatavar::storeFirst(kqbType type) {
    constexpr long long zero = 0;
    switch (type) {
        case KqbTypeReal:
            return storeReal(KqbReal());
        case KqbTypeString:
            return storeText("", 0, 0);
        case KqbTypeBinary:
            return storeBlob(KqbBlob());
        default:
            return storePlain(type, &zero, getRawSizeReq(type), 0);
    }
}

// False, or null, when there is no such value or memory is short.
bool KqbDatavar::storeConverted(kqbType type, KqbDatavar const &from) {
    bool error = false;
    switch (type) {
        case KqbTypeBoolean:
            assign(from.asBool(&error));
            break;
        case KqbTypeInteger:
            assign(from.asInt64(&error));
            break;
        case KqbTypeReal:
            assign(from.asReal(&error));
            break;
        case KqbTypeString:
            assign(from.asString());
            break;
        case KqbTypeDate:
            assign(from.asDate());
            break;
        case KqbTypeBinary:
            assign(from.asBlob(&error));
            break;
        default:
            return false;
    }
    return !error && !isNull();
}

bool KqbDatavar::setType(kqbType type) {
    if (!isType(type)) return false;
    if (isNull()) return storeFirst(type);
    if (type == this->type()) return true;
    KqbDatavar converted;
    if (!converted.storeConverted(type, *this)) return false;
    *this = static_cast<KqbDatavar &&>(converted);
    return true;
}

bool KqbDatavar::build(kqbType type, void const *text, unsigned int size) {
    if (!isType(type)) return false;
    KqbDatavar built;
    bool const isBytes = type == KqbTypeBinary || type == KqbTypeUnknown;
    if (!built.assign(isBytes ? type : KqbTypeString, text, size)) return false;
    if (!built.isNull() && !built.setType(type)) return false;
    *this = static_cast<KqbDatavar &&>(built);
    return true;
}

bool KqbDatavar::truncate(int maxCharacters, int maxBytes) {
    if (type() != KqbTypeString) return false;
    std::size_t const bytes = bytesWithin(text(), rep_->size - 1, maxCharacters, maxBytes);
    if (bytes == rep_->size - 1) return true;
    unsigned int const characters = np_uchar_length_n(text(), bytes);
    if (!isAlone(KqbTypeString)) {
        KqbDatavar cut;
        if (!cut.storeText(text(), bytes, characters)) return false;
        *this = static_cast<KqbDatavar &&>(cut);
        return true;
    }
    finishText(bytes, characters);
    return true;
}
