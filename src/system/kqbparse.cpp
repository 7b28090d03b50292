// Parsing only notes where the pieces are, in one walk over the text. A piece is trimmed and
// unescaped when somebody asks for it, which is once, as a rule: pieces that run on into others
// would otherwise hold the same text many times over.
#include "kqb/kqbparse.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <new>
#include <string_view>
#include <vector>

#include "config/kqbmemory_internal.h"
#include "core/kqbstring_internal.h"
#include "kqb/kqbmessage.h"
#include "platform/kqschr.h"
#include "uri/kquriescape_internal.h"

namespace {

using std::string_view;

constexpr int kOutOfMemory = 444;
constexpr int kNoSuchAttribute = 1516;
constexpr char kDefaultSeparator = ';';
constexpr std::size_t kLikelySize = 24;  // of a piece: a guess that saves growing step by step

// The first count characters of a text, or all of it.
string_view characters(string_view text, std::size_t count) {
    char const *const end = np_uchar_seek_n(text.data(), text.size(), static_cast<unsigned>(count));
    return end != nullptr ? text.substr(0, static_cast<std::size_t>(end - text.data())) : text;
}

// The bytes that decide where a piece splits.
constexpr auto kDecides = [] {
    std::array<bool, 256> decides{};
    for (char const byte : {'(', ')', '{', '='}) decides[static_cast<unsigned char>(byte)] = true;
    return decides;
}();

std::size_t nextDeciding(string_view piece, std::size_t at) {
    while (at < piece.size() && !kDecides[static_cast<unsigned char>(piece[at])]) ++at;
    return at;
}

// Where a piece splits, or npos. A parenthesis that closes too much hides what follows just as one
// that is open does.
std::size_t splittingPlace(string_view piece) {
    std::ptrdiff_t depth = 0;
    for (std::size_t i = nextDeciding(piece, 0); i < piece.size(); i = nextDeciding(piece, i + 1)) {
        if (piece[i] == '{') break;
        if (piece[i] == '(') ++depth;
        if (piece[i] == ')') --depth;
        if (piece[i] == '=' && depth == 0) return i;
    }
    return string_view::npos;
}

// Assigns bytes where somebody asks for them. Throws std::bad_alloc.
void give(KqbString *output, string_view bytes) {
    if (output != nullptr && !KqbStringAccess::assign(*output, bytes)) throw std::bad_alloc();
}

void setNull(KqbString *output) {
    if (output != nullptr) output->setNull();
}

// An unescaped piece, and whether each of its characters is one byte.
struct Piece {
    string_view text;
    bool isSingleBytes;
};

// Throws std::bad_alloc.
void split(Piece const &from, KqbString *name, KqbString *value) {
    string_view const piece = from.text;
    std::size_t const equals = splittingPlace(piece);
    if (equals == string_view::npos) {
        setNull(name);
        give(value, piece);
        return;
    }
    string_view const rest = piece.substr(equals + 1);
    string_view const named =
        from.isSingleBytes ? piece.substr(0, equals) : characters(piece, equals);
    equals > 0 ? give(name, kqbTrimmed(named)) : setNull(name);
    rest.empty() ? setNull(value) : give(value, rest);
}

}  // namespace

// --- The list -----------------------------------------------------------------------------------

class KqbParse::Attributes {
public:
    std::size_t size() const { return places_.size(); }

    // Throws std::bad_alloc.
    void fill(KqbString const &text, char separator);
    void clear() { places_.clear(); }

    // A piece as it stands in the text, but trimmed.
    string_view operator[](int index) const;

    bool isSingleBytes() const { return isSingleBytes_; }
    bool hasEscapes(string_view piece) const {
        return hasEscapes_ && piece.find('%') != string_view::npos;
    }

private:
    struct Place {
        unsigned begin;
        unsigned size;  // bytes up to the separator
    };

    KqbString text_;
    bool isSingleBytes_ = true;  // every character is one byte
    bool hasEscapes_ = false;    // somewhere
    std::vector<Place> places_;
};

void KqbParse::Attributes::fill(KqbString const &text, char separator) {
    clear();
    text_ = text;
    string_view const bytes = KqbStringAccess::view(text_);
    isSingleBytes_ = text_.length() == bytes.size();
    hasEscapes_ = bytes.find('%') != string_view::npos;
    places_.reserve(bytes.size() / kLikelySize + 1);
    for (std::size_t begin = 0, end = 0; begin < bytes.size(); begin = end + 1) {
        end = std::min(bytes.find(separator, begin), bytes.size());
        if (end == begin) continue;
        places_.push_back({static_cast<unsigned>(begin), static_cast<unsigned>(end - begin)});
    }
}

// A piece is given as many characters as it has bytes, and so may run on into the next ones.
string_view KqbParse::Attributes::operator[](int index) const {
    auto const [begin, size] = places_[static_cast<std::size_t>(index)];
    string_view piece = KqbStringAccess::view(text_).substr(begin);
    piece = isSingleBytes_ ? piece.substr(0, size) : characters(piece, size);
    if (piece.size() > 1 && piece[0] == ' ' && np_uchar_isascii(&piece[1])) piece.remove_prefix(1);
    return kqbTrimmed(piece);
}

// --- The parser ---------------------------------------------------------------------------------

KqbParse::KqbParse() : attributes_(new (std::nothrow) Attributes) {}

KqbParse::KqbParse(KqbParse const &other) = default;

KqbParse &KqbParse::operator=(KqbParse const &other) = default;

KqbParse::~KqbParse() { delete attributes_; }

bool KqbParse::parse(KqbString const &text, char separator) {
    text_ = text;
    errorMessage_.setNull();
    bool const isFilled = kqbWithMemory([&] {
        if (attributes_ == nullptr) attributes_ = new Attributes;
        attributes_->fill(text_, separator != '\0' ? separator : kDefaultSeparator);
    });
    if (isFilled) return true;
    if (attributes_ != nullptr) attributes_->clear();
    return fail(kOutOfMemory);
}

int KqbParse::getAttributeCount() {
    constexpr std::size_t kMost = std::numeric_limits<int>::max();
    return attributes_ != nullptr ? static_cast<int>(std::min(attributes_->size(), kMost)) : 0;
}

bool KqbParse::fail(int message) {
    errorMessage_ = kqb_get_message(KQB_BASE_SERVICES, message, "kqbparse");
    return false;
}

// Runs take(Piece) on an attribute. False, with a message, when there is none or no memory.
template <class Take>
bool KqbParse::take(int index, Take const &take) {
    if (index < 0 || index >= getAttributeCount()) return fail(kNoSuchAttribute);
    string_view const piece = (*attributes_)[index];
    bool const isTaken = kqbWithMemory([&] {
        if (!attributes_->hasEscapes(piece)) return take({piece, attributes_->isSingleBytes()});
        KqbString const unescaped = kqbUnescaped(piece);
        string_view const text = KqbStringAccess::view(unescaped);
        take({text, unescaped.length() == text.size()});
    });
    return isTaken || fail(kOutOfMemory);
}

bool KqbParse::getAttributeRaw(int index, KqbString *piece) {
    if (take(index, [&](Piece const &found) { give(piece, found.text); })) return true;
    setNull(piece);
    return false;
}

bool KqbParse::getAttribute(int index, KqbString *name, KqbString *value) {
    if (take(index, [&](Piece const &found) { split(found, name, value); })) return true;
    setNull(name);
    setNull(value);
    return false;
}

KqbString KqbParse::getErrorMessage() { return errorMessage_; }
